#pragma once

#include <optional>
#include <string>
#include <vector>

namespace ridge::simulator::tests {

// What the test program does as a child of its own tests; empty when it is to run the tests.
std::optional<int> runAsChild(const std::vector<std::string>& arguments);

// The command line that starts the test program as a child.
std::wstring childCommandLine(const std::wstring& arguments);

} // namespace ridge::simulator::tests
