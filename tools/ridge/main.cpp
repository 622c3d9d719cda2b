#include "binaryinput.h"
#include "consoleinterruption.h"
#include "program.h"
#include "utf8console.h"

#include <iostream>

int main(int argumentCount, char* arguments[]) {
    using namespace ridge::tool;
    const Utf8Console console;
    makeInputBinary();
    // The library keeps the logger, and with it the messages, until the process ends.
    static Messages messages(std::cerr);
    static Interruption interruption;
    const ConsoleInterruption consoleInterruption(interruption);
    return static_cast<int>(
        runProgram({arguments + (argumentCount > 0 ? 1 : 0), arguments + argumentCount}, std::cin,
                   std::cout, messages, interruption));
}
