#include "selftestreport.h"

#include <gtest/gtest.h>

namespace ridge::tool {
namespace {

const SelfTestReport sample{
    {{"ridge-sdk", "9.8.7"}, {"Text 1", "a|b\\c\x1B"}},
    {{"Version", CheckStatus::passed, "9.8.7", std::chrono::milliseconds(40)},
     {"Capture", CheckStatus::failed, "no\nfinger", std::chrono::milliseconds(30250)},
     {"Device key", CheckStatus::skipped, "only with --with-security", {}}},
    {"[I] one", "[E] ```two"}};

} // namespace

TEST(SelfTestReport, Markdown_IsTheWholeReport) {
    EXPECT_EQ(toMarkdown(sample), R"(# Self-test of a ridge scanner

1 passed, 1 failed, 1 skipped

| What | Value |
|---|---|
| ridge-sdk | 9.8.7 |
| Text 1 | a\|b\\c? |

## Checks

| Check | Status | Duration | Text |
|---|---|---|---|
| Version | passed | 0.0 s | 9.8.7 |
| Capture | failed | 30.2 s | no?finger |
| Device key | skipped | 0.0 s | only with --with-security |

## Log of the library

Bytes of packets are left out.

    [I] one
    [E] ```two
)");
}

TEST(SelfTestReport, Table_HasALineForEachCheck) {
    EXPECT_EQ(checkTable(sample), "passed   Version     9.8.7\n"
                                  "failed   Capture     no?finger\n"
                                  "skipped  Device key  only with --with-security\n");
}

TEST(SelfTestReport, Json_HoldsFactsAndChecks) {
    EXPECT_EQ(
        toJson(sample),
        (nlohmann::ordered_json{
            {"facts", {{"ridge-sdk", "9.8.7"}, {"Text 1", "a|b\\c\x1B"}}},
            {"checks",
             {{{"name", "Version"}, {"status", "passed"}, {"text", "9.8.7"}, {"milliseconds", 40}},
              {{"name", "Capture"},
               {"status", "failed"},
               {"text", "no\nfinger"},
               {"milliseconds", 30250}},
              {{"name", "Device key"},
               {"status", "skipped"},
               {"text", "only with --with-security"},
               {"milliseconds", 0}}}}}));
}

} // namespace ridge::tool
