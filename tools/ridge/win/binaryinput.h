#pragma once

namespace ridge::tool {

/// Takes the standard input byte by byte as it is, without a meaning for line ends.
void makeInputBinary();

} // namespace ridge::tool
