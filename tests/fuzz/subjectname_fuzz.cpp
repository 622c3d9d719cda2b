#include "commandpayloads.h"
#include "csrname.h"
#include "require.h"
#include "ridgeexception.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace {

using ridge::test::require;

/// Characters of a text that is known to be good UTF-8.
std::size_t charactersOf(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
    }));
}

void checkAccepted(const ridge::CsrName& name) {
    require(!name.commonName.empty() && charactersOf(name.commonName) <= 64);
    require(name.country.empty() || name.country.size() == 2);
    require(charactersOf(name.locality) <= 128);
    require(charactersOf(name.organization) <= 64);
    require(charactersOf(name.organizationalUnit) <= 64);
    require(charactersOf(name.stateOrProvince) <= 128);
    // What is accepted can be sent.
    require(ridge::encodeCsrName(name).size() <= 1806);
}

} // namespace

/// Six texts with NULs between them.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::array<std::string, 6> fields;
    std::size_t field = 0;
    for (std::size_t index = 0; index < size && field < fields.size(); ++index) {
        if (data[index] == 0) {
            ++field;
        } else {
            fields[field] += static_cast<char>(data[index]);
        }
    }
    try {
        checkAccepted(ridge::CsrName({fields[0].c_str(), fields[1].c_str(), fields[2].c_str(),
                                      fields[3].c_str(), fields[4].c_str(), fields[5].c_str()}));
    } catch (const ridge::RidgeException& failure) {
        require(failure.code() == 2);
    }
    return 0;
}
