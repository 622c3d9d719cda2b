#include "consoleinterruption.h"
#include "consoleterminals.h"
#include "program.h"
#include "standardstreams.h"
#include "systemversion.h"
#include "utf8console.h"

#include <iostream>

int main(int argumentCount, char* arguments[]) {
    using namespace ridge::tool;
    const Utf8Console console;
    const ConsoleEscapeSequences escapeSequences;
    prepareStandardStreams();
    // The library keeps the logger, and with it the messages, until the process ends.
    static const SteadyClock clock;
    static Messages messages(std::cerr, clock, errorColumns());
    static Interruption interruption;
    const ConsoleInterruption consoleInterruption(interruption);
    const Environment environment{std::cin, inputIsTerminal(), std::cout, outputTerminal(),
                                  clock,    systemVersion()};
    return static_cast<int>(
        runProgram({arguments + (argumentCount > 0 ? 1 : 0), arguments + argumentCount},
                   environment, messages, interruption));
}
