#pragma once

#include <string>

namespace ridge::test {

/// Whether the text is that of a command of the operation that no answer came to in time. The
/// operation is the function that was called, or what goes on in the background.
bool isTimeoutOf(const std::string& operation, const std::string& text);

} // namespace ridge::test
