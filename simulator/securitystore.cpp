#include "securitystore.h"

namespace ridge::simulator {

void SecurityStore::setMaskedKey(std::span<const std::uint8_t, maskedKeySize> bytes) {
    Key unmasked{};
    for (std::size_t i = 0; i < keySize; ++i) {
        unmasked[i] = static_cast<std::uint8_t>(bytes[2 * i] ^ bytes[2 * i + 1]);
    }
    storedKey = unmasked;
}

void SecurityStore::setCertificate(std::span<const std::uint8_t> bytes) {
    storedCertificate.assign(bytes.begin(), bytes.end());
}

} // namespace ridge::simulator
