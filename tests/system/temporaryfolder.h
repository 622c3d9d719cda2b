#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <system_error>

#include <windows.h>

namespace ridge::test {

/// A folder that goes with the test.
class TemporaryFolder {
public:
    TemporaryFolder()
        : path(std::filesystem::temp_directory_path() /
               ("ridge-" + std::to_string(GetCurrentProcessId()) + "-" +
                testing::UnitTest::GetInstance()->current_test_info()->name())) {
        std::filesystem::create_directories(path);
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }

    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] std::string file(const std::string& name) const { return (path / name).string(); }

private:
    std::filesystem::path path;
};

} // namespace ridge::test
