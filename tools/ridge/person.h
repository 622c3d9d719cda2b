#pragma once

#include "commandcontext.h"

#include <string>

namespace ridge::tool {

/// The person beside the scanner.
class Person {
public:
    /// Nobody is waited for unless `present`.
    Person(const CommandContext& context, bool present);

    /// Says what to do now.
    void tell(const std::string& instruction);
    /// The same, and waits until it is done. Throws Interrupted.
    void ask(const std::string& instruction);

private:
    const CommandContext& context;
    bool isPresent;
};

} // namespace ridge::tool
