#include "csrcreator.h"

#include "scannerline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
#include <ranges>
#include <string>
#include <system_error>
#include <vector>

#include <windows.h>

#include <wincrypt.h>

namespace ridge::simulator::test {

namespace {

using testing::HasSubstr;
using testing::Ne;
using testing::StartsWith;

using Bytes = std::vector<std::uint8_t>;

// What an RSA public key of 2048 bits begins with, and how long it is.
constexpr const char* publicKeyStart =
    "30 82 01 22 30 0D 06 09 2A 86 48 86 F7 0D 01 01 01 05 00 03 82 01 0F 00";
constexpr std::size_t publicKeySize = 294;

std::optional<Bytes> publicKeyOf(const Bytes& request) {
    const auto found = std::ranges::search(request, bytesOf(publicKeyStart)).begin();
    if (request.end() - found < static_cast<std::ptrdiff_t>(publicKeySize)) {
        return std::nullopt;
    }
    return Bytes(found, found + publicKeySize);
}

struct LocalFreer {
    void operator()(void* memory) const { LocalFree(memory); }
};

// Whether a request is signed with the key that it holds.
bool verifies(Bytes request) {
    const std::optional<Bytes> encodedKey = publicKeyOf(request);
    if (!encodedKey) {
        return false;
    }
    CERT_PUBLIC_KEY_INFO* decoded = nullptr;
    DWORD size = 0;
    if (!CryptDecodeObjectEx(X509_ASN_ENCODING, X509_PUBLIC_KEY_INFO, encodedKey->data(),
                             static_cast<DWORD>(encodedKey->size()), CRYPT_DECODE_ALLOC_FLAG,
                             nullptr, static_cast<void*>(&decoded), &size)) {
        return false;
    }
    const std::unique_ptr<CERT_PUBLIC_KEY_INFO, LocalFreer> key(decoded);
    return CryptVerifyCertificateSignature(0, X509_ASN_ENCODING, request.data(),
                                           static_cast<DWORD>(request.size()), key.get()) != FALSE;
}

} // namespace

TEST(CsrCreator, Request_HoldsTheSubjectAndTheKey) {
    CsrCreator creator;
    const std::string request =
        hexOf(creator.create({"Pr\xC3\xBC"
                              "fstelle \xCE\xA9",
                              "DE", "K\xC3\xB6ln", "Ma\xC3\x9F", "\xE2\x85\xA7", "NW"}));
    EXPECT_THAT(request, StartsWith("30 82 02 A5 30 82 01 8D 02 01 00 "));
    EXPECT_THAT(
        request,
        HasSubstr(
            " 30 60 31 17 30 15 06 03 55 04 03 0C 0E 50 72 C3 BC 66 73 74 65 6C 6C 65 20 CE A9 31 "
            "0B 30 09 06 03 55 04 06 13 02 44 45 31 0E 30 0C 06 03 55 04 07 0C 05 4B C3 B6 6C 6E "
            "31 0D 30 0B 06 03 55 04 0A 0C 04 4D 61 C3 9F 31 0C 30 0A 06 03 55 04 0B 0C 03 E2 85 "
            "A7 31 0B 30 09 06 03 55 04 08 0C 02 4E 57 " +
            std::string(publicKeyStart)));
    // No attributes; SHA-256 with RSA; 256 bytes of signature.
    EXPECT_THAT(request, HasSubstr(" A0 00 30 0D 06 09 2A 86 48 86 F7 0D 01 01 0B 05 00 03 82 01 "
                                   "01 00 "));
}

TEST(CsrCreator, EmptyFields_AreLeftOut) {
    CsrCreator creator;
    EXPECT_THAT(hexOf(creator.create({"A", "", "", "", "", ""})),
                HasSubstr(" 02 01 00 30 0C 31 0A 30 08 06 03 55 04 03 0C 01 41 " +
                          std::string(publicKeyStart)));
}

TEST(CsrCreator, Signature_FitsTheRequest) {
    CsrCreator creator;
    Bytes request = creator.create({"Ann", "DE", "", "", "", ""});
    EXPECT_TRUE(verifies(request));
    const std::ranges::subrange commonName = std::ranges::search(request, bytesOf("41 6E 6E"));
    ASSERT_FALSE(commonName.empty());
    commonName.front() ^= 1;
    EXPECT_FALSE(verifies(request));
}

TEST(CsrCreator, LongestFields_AreTaken) {
    CsrCreator creator;
    const std::string name = "06 03 55 04 03 0C 82 01 00 78 78";
    const std::string place = "06 03 55 04 08 0C 82 02 00 78 78";
    const Bytes request =
        creator.create({std::string(256, 'x'), "DE", std::string(512, 'x'), std::string(256, 'x'),
                        std::string(256, 'x'), std::string(512, 'x')});
    EXPECT_THAT(hexOf(request), HasSubstr(name));
    EXPECT_THAT(hexOf(request), HasSubstr(place));
    EXPECT_TRUE(verifies(request));
}

TEST(CsrCreator, SeveralRequests_AreForOneKeyPair) {
    CsrCreator creator;
    const auto first = publicKeyOf(creator.create({"Ann", "", "", "", "", ""}));
    EXPECT_THAT(first, Ne(std::nullopt));
    EXPECT_EQ(publicKeyOf(creator.create({"Bob", "", "", "", "", ""})), first);
    EXPECT_NE(publicKeyOf(CsrCreator().create({"Ann", "", "", "", "", ""})), first);
}

TEST(CsrCreator, BrokenUtf8_IsRefused) {
    CsrCreator creator;
    EXPECT_THROW(creator.create({"\xC3", "", "", "", "", ""}), std::system_error);
}

TEST(CsrCreator, CountryThatIsNotPrintable_IsRefused) {
    CsrCreator creator;
    EXPECT_THROW(creator.create({"Ann", "D*", "", "", "", ""}), std::system_error);
}

} // namespace ridge::simulator::test
