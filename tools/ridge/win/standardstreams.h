#pragma once

namespace ridge::tool {

/// Lets the bytes of standard input and output pass as they are, without a meaning for line ends: a
/// key has none, and a script for another shell must not get them. What is written goes out in one
/// piece when it is flushed: a console may not take a character whose bytes come in two.
void prepareStandardStreams();

} // namespace ridge::tool
