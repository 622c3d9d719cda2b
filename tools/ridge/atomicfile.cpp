#include "atomicfile.h"

#include "utf8path.h"

#include <random>
#include <system_error>
#include <utility>

namespace ridge::tool {
namespace {

namespace fs = std::filesystem;

FileError fileError(const fs::path& path, const std::string& reason) {
    return FileError(utf8FromPath(path) + ": " + reason);
}

FileError cannotWrite(const fs::path& path) {
    return fileError(path, "cannot be written");
}

void createFolders(const fs::path& folder) {
    std::error_code error;
    fs::create_directories(folder, error);
    if (error) {
        throw fileError(folder, "the folder cannot be made: " + error.message());
    }
}

void checkReplaceable(const fs::path& target) {
    std::error_code error;
    const fs::file_status status = fs::status(target, error);
    if (!fs::exists(status)) {
        return;
    }
    if (!fs::is_regular_file(status)) {
        throw fileError(target, "exists and is not a file");
    }
    if ((status.permissions() & fs::perms::owner_write) == fs::perms::none) {
        throw fileError(target, "is write-protected");
    }
}

/// Another run of the program may be writing the same target.
fs::path temporaryName(const fs::path& target) {
    std::random_device random;
    return fs::path(target) += "." + std::to_string(random()) + ".part";
}

} // namespace

AtomicFile::AtomicFile(const fs::path& path) : target(fs::absolute(path)) {
    if (!target.has_filename()) {
        throw fileError(target, "is not the name of a file");
    }
    createFolders(target.parent_path());
    checkReplaceable(target);
    temporary = temporaryName(target);
    stream.open(temporary, std::ios::binary);
    if (!stream) {
        throw cannotWrite(target);
    }
}

AtomicFile::~AtomicFile() {
    stream.close();
    std::error_code ignored;
    fs::remove(temporary, ignored);
}

void AtomicFile::commit(const std::vector<std::uint8_t>& content) {
    for (const std::uint8_t byte : content) {
        stream.put(static_cast<char>(byte));
    }
    stream.close();
    if (!stream) {
        throw cannotWrite(target);
    }
    std::error_code error;
    fs::rename(temporary, target, error);
    if (error) {
        throw fileError(target, "cannot be written: " + error.message());
    }
}

} // namespace ridge::tool
