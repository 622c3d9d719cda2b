#pragma once

#include "account.h"

#include <string>
#include <vector>

namespace ridge::test {

/// Takes the place of what ridge-sdk.dll imports: from now on its calls are entered in the accounts
/// of their threads, and are refused when these say so. Once per process.
void watchImportedCalls();

/// What the library imports and nobody has decided about: whether it can fail, and how.
std::vector<std::string> undecidedImports();

/// The function of the library that has called, as the linker names it.
std::string callerAt(const CallSite& site);

/// What was called, and by which function of the library.
std::string describe(const CallSite& site);

} // namespace ridge::test
