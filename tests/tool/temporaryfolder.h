#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <system_error>

namespace ridge::test {

/// A folder that goes with the object.
class TemporaryFolder {
public:
    TemporaryFolder()
        : folder(std::filesystem::temp_directory_path() /
                 ("ridge-tool-tests-" + std::to_string(std::random_device()()) + "-" +
                  std::to_string(std::random_device()()))) {
        std::filesystem::create_directory(folder);
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }

    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] std::filesystem::path operator/(const std::string& name) const {
        return folder / name;
    }

    /// How many files and folders lie directly in it.
    [[nodiscard]] std::size_t entries() const {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(folder), {}));
    }

private:
    std::filesystem::path folder;
};

inline std::string readFile(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

inline void writeFile(const std::filesystem::path& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

} // namespace ridge::test
