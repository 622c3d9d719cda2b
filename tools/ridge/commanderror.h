#pragma once

#include "exitstatus.h"

#include <cstdint>
#include <stdexcept>
#include <string>

namespace ridge::tool {

/// A failure that ends a command, with the exit status that it leads to.
class CommandError : public std::runtime_error {
public:
    /// A library status of 0 says that the library has no part in it.
    CommandError(ExitStatus exitStatus, const std::string& text, std::int32_t libraryStatus = 0)
        : std::runtime_error(text), exit(exitStatus), status(libraryStatus) {}

    [[nodiscard]] ExitStatus exitStatus() const { return exit; }
    [[nodiscard]] std::int32_t statusOfLibrary() const { return status; }

private:
    ExitStatus exit;
    std::int32_t status;
};

class UsageError : public CommandError {
public:
    explicit UsageError(const std::string& text) : CommandError(ExitStatus::usageError, text) {}
};

class Interrupted : public CommandError {
public:
    Interrupted() : CommandError(ExitStatus::interrupted, "interrupted") {}
};

} // namespace ridge::tool
