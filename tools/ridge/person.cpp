#include "person.h"

namespace ridge::tool {

Person::Person(const CommandContext& commandContext, bool present)
    : context(commandContext), isPresent(present) {}

void Person::tell(const std::string& instruction) {
    context.messages.line("  --> " + instruction);
}

void Person::ask(const std::string& instruction) {
    if (!isPresent) {
        tell(instruction);
        return;
    }
    tell(instruction + " Then press Enter.");
    std::string line;
    std::getline(context.environment.input, line);
    context.interruption.throwIfRequested();
}

} // namespace ridge::tool
