#pragma once

#include <string>
#include <string_view>

namespace ridge::test {

// An operation is the function that was called, or what goes on in the background.

/// Whether it sends commands to the scanner.
bool sendsCommands(const std::string& operation);

/// Whether the text is that of a command of the operation that no answer came to in time.
bool isTimeoutOf(const std::string& operation, const std::string& text);

/// What stands in front of the port's own words when the operation finds that the port has failed.
/// Empty if it does not look.
std::string_view failedPortReport(const std::string& operation);

} // namespace ridge::test
