#pragma once

#include <filesystem>
#include <fstream>
#include <string>

namespace ridge::test {

/// The path of a picture file for `ridge-scanner --image` whose block needs one packet.
inline std::string smallPicture() {
    constexpr int side = 16;
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() / "ridge-small-picture.pgm";
    std::ofstream file(path, std::ios::binary);
    file << "P5 " << side << ' ' << side << " 255\n" << std::string(side * side, '~');
    return path.string();
}

} // namespace ridge::test
