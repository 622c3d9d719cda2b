#pragma once

#include <cstdlib>
#include <string_view>

namespace ridge::test {

/// How much a test tries: a part, or all of it where RIDGE_FULL_TESTS is 1 in the environment.
template <typename Count>
Count testExtent(Count part, Count all) {
    const char* const wanted = std::getenv("RIDGE_FULL_TESTS");
    return wanted != nullptr && std::string_view(wanted) == "1" ? all : part;
}

} // namespace ridge::test
