#include "portname.h"

#include <cctype>
#include <cstddef>

namespace ridge::tool {
namespace {

constexpr std::size_t letters = 3;

bool isComPort(const std::string& name) {
    if (name.size() <= letters) {
        return false;
    }
    for (std::size_t index = 0; index < name.size(); ++index) {
        const auto character = static_cast<unsigned char>(name[index]);
        if (index < letters ? std::toupper(character) != "COM"[index]
                            : std::isdigit(character) == 0) {
            return false;
        }
    }
    return true;
}

} // namespace

std::string systemPortName(const std::string& name) {
    if (!isComPort(name) || name.size() == letters + 1) {
        return name;
    }
    return R"(\\.\)" + name;
}

} // namespace ridge::tool
