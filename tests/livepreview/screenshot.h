#pragma once

#include <string>

namespace ridge::test {

/// Writes a picture of the window after a capture and in a stream to a PNG file.
void takeScreenshot(const std::string& file);

} // namespace ridge::test
