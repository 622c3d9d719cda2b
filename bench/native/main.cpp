// ridge-native-bench FILE [TEXT]: measures what needs no port, or those rows whose measure contains
// the text, and writes them to FILE.

#include "suites.h"

#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <string>

int main(int argc, char** argv) {
    using namespace ridge::bench;
    try {
        if (argc < 2) {
            std::cerr << "usage: ridge-native-bench FILE [TEXT]\n";
            return EXIT_FAILURE;
        }
        Comparisons comparisons;
        addDataLink(comparisons);
        addChecksums(comparisons);
        addLogLines(comparisons);
        addConnections(comparisons);
        addCommands(comparisons);
        addCaptureGrowth(comparisons);
        std::ofstream results(argv[1]);
        results.exceptions(std::ios::failbit | std::ios::badbit);
        writeResults(results, comparisons.run(argc > 2 ? argv[2] : ""));
        return EXIT_SUCCESS;
    } catch (const std::exception& failure) {
        std::cerr << "ridge-native-bench: " << failure.what() << '\n';
        return EXIT_FAILURE;
    }
}
