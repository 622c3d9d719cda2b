#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace ridge::simulator {

/// The scanner's key and certificate.
class SecurityStore {
public:
    static constexpr std::size_t keySize = 32;
    static constexpr std::size_t maskedKeySize = 2 * keySize;
    static constexpr std::size_t maxCertificateSize = 6000;
    using Key = std::array<std::uint8_t, keySize>;

    /// Takes the key as it is sent: each byte behind a random one that it is mixed with.
    void setMaskedKey(std::span<const std::uint8_t, maskedKeySize> bytes);
    void clearKey() { storedKey.reset(); }
    [[nodiscard]] const std::optional<Key>& key() const { return storedKey; }

    void setCertificate(std::span<const std::uint8_t> bytes);
    void clearCertificate() { storedCertificate.clear(); }
    /// Empty when there is none.
    [[nodiscard]] const std::vector<std::uint8_t>& certificate() const { return storedCertificate; }

private:
    std::optional<Key> storedKey;
    std::vector<std::uint8_t> storedCertificate;
};

} // namespace ridge::simulator
