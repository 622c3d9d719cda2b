#pragma once

#include <string>

namespace ridge::test {

/// What the operating system says of one of its error codes, as it stands.
std::string systemText(unsigned long code);

} // namespace ridge::test
