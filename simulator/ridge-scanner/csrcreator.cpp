#include "csrcreator.h"

#include "systemfailure.h"

#include <array>
#include <cstddef>
#include <deque>
#include <string>

#include <windows.h>

#include <wincrypt.h>

namespace ridge::simulator {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// A container of keys that lives in memory only.
class KeyContainer {
public:
    KeyContainer() {
        if (!CryptAcquireContextW(&handle, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT)) {
            throwSystemFailure("opening the system's cryptography");
        }
    }
    ~KeyContainer() { CryptReleaseContext(handle, 0); }

    KeyContainer(const KeyContainer&) = delete;
    KeyContainer& operator=(const KeyContainer&) = delete;

    [[nodiscard]] HCRYPTPROV get() const { return handle; }

private:
    HCRYPTPROV handle = 0;
};

/// The key pair for signatures of a container.
class GeneratedKey {
public:
    explicit GeneratedKey(const KeyContainer& container) {
        constexpr DWORD bits = 2048;
        constexpr unsigned bitsShift = 16;
        if (!CryptGenKey(container.get(), AT_SIGNATURE, bits << bitsShift, &handle)) {
            throwSystemFailure("generating a key pair");
        }
    }
    ~GeneratedKey() { CryptDestroyKey(handle); }

    GeneratedKey(const GeneratedKey&) = delete;
    GeneratedKey& operator=(const GeneratedKey&) = delete;

private:
    HCRYPTKEY handle = 0;
};

/// What a call gives that is first asked for the size and then for the bytes. The size is never 0.
template <typename Call>
Bytes resultOf(const std::string& action, Call call) {
    DWORD size = 0;
    if (!call(nullptr, &size)) {
        throwSystemFailure(action);
    }
    Bytes bytes(size);
    if (!call(bytes.data(), &size)) {
        throwSystemFailure(action);
    }
    bytes.resize(size);
    return bytes;
}

Bytes encoded(LPCSTR type, const void* structure) {
    return resultOf("encoding a signing request", [=](BYTE* bytes, DWORD* size) {
        return CryptEncodeObject(X509_ASN_ENCODING, type, structure, bytes, size);
    });
}

/// For structures that are also meant for results, and therefore take no constant bytes.
CRYPT_DATA_BLOB blobOf(Bytes& bytes) {
    return {static_cast<DWORD>(bytes.size()), bytes.data()};
}

LPSTR identifier(const char* text) {
    return const_cast<LPSTR>(text);
}

std::wstring wide(const std::string& utf8) {
    const int size = static_cast<int>(utf8.size());
    std::wstring text(utf8.size(), L'\0');
    const int count =
        MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), size, text.data(), size);
    if (count == 0) {
        throwSystemFailure("reading the subject's UTF-8");
    }
    text.resize(static_cast<std::size_t>(count));
    return text;
}

Bytes encodedName(const CsrSubject& subject) {
    struct Field {
        const char* type;
        DWORD encoding;
        const std::string& text;
    };
    const std::array<Field, 6> fields{{
        {szOID_COMMON_NAME, CERT_RDN_UTF8_STRING, subject.commonName},
        {szOID_COUNTRY_NAME, CERT_RDN_PRINTABLE_STRING, subject.country},
        {szOID_LOCALITY_NAME, CERT_RDN_UTF8_STRING, subject.locality},
        {szOID_ORGANIZATION_NAME, CERT_RDN_UTF8_STRING, subject.organization},
        {szOID_ORGANIZATIONAL_UNIT_NAME, CERT_RDN_UTF8_STRING, subject.organizationalUnit},
        {szOID_STATE_OR_PROVINCE_NAME, CERT_RDN_UTF8_STRING, subject.stateOrProvince},
    }};
    // Addresses of their elements are kept.
    std::deque<std::wstring> texts;
    std::deque<CERT_RDN_ATTR> attributes;
    std::vector<CERT_RDN> names;
    for (const Field& field : fields) {
        if (!field.text.empty()) {
            std::wstring& text = texts.emplace_back(wide(field.text));
            const auto size = static_cast<DWORD>(text.size() * sizeof(wchar_t));
            attributes.push_back({identifier(field.type),
                                  field.encoding,
                                  {size, reinterpret_cast<BYTE*>(text.data())}});
            names.push_back({1, &attributes.back()});
        }
    }
    const CERT_NAME_INFO name{static_cast<DWORD>(names.size()), names.data()};
    return encoded(X509_UNICODE_NAME, &name);
}

} // namespace

class CsrCreator::KeyPair {
public:
    [[nodiscard]] Bytes encodedPublicKey() const {
        const Bytes information = resultOf("reading the public key", [this](BYTE* bytes,
                                                                            DWORD* size) {
            return CryptExportPublicKeyInfo(container.get(), AT_SIGNATURE, X509_ASN_ENCODING,
                                            reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(bytes), size);
        });
        return encoded(X509_PUBLIC_KEY_INFO, information.data());
    }

    /// The signed form of something encoded.
    [[nodiscard]] Bytes signedForm(Bytes content) const {
        // This algorithm's parameters are a NULL.
        Bytes parameters{0x05, 0x00};
        CRYPT_ALGORITHM_IDENTIFIER algorithm{identifier(szOID_RSA_SHA256RSA), blobOf(parameters)};
        Bytes signature = resultOf("signing", [&](BYTE* bytes, DWORD* size) {
            return CryptSignCertificate(container.get(), AT_SIGNATURE, X509_ASN_ENCODING,
                                        content.data(), static_cast<DWORD>(content.size()),
                                        &algorithm, nullptr, bytes, size);
        });
        const CERT_SIGNED_CONTENT_INFO whole{
            blobOf(content),
            algorithm,
            {static_cast<DWORD>(signature.size()), signature.data(), 0}};
        return encoded(X509_CERT, &whole);
    }

private:
    KeyContainer container;
    GeneratedKey key{container};
};

CsrCreator::CsrCreator() = default;
CsrCreator::~CsrCreator() = default;

std::vector<std::uint8_t> CsrCreator::create(const CsrSubject& subject) {
    if (!keyPair) {
        keyPair = std::make_unique<KeyPair>();
    }
    // The system's own structure for requests is not known to Wine.
    const int versionNumber = CERT_REQUEST_V1;
    Bytes version = encoded(X509_INTEGER, &versionNumber);
    Bytes name = encodedName(subject);
    Bytes publicKey = keyPair->encodedPublicKey();
    Bytes noAttributes{0xA0, 0x00};
    std::array<CRYPT_DER_BLOB, 4> parts{blobOf(version), blobOf(name), blobOf(publicKey),
                                        blobOf(noAttributes)};
    const CRYPT_SEQUENCE_OF_ANY request{static_cast<DWORD>(parts.size()), parts.data()};
    return keyPair->signedForm(encoded(X509_SEQUENCE_OF_ANY, &request));
}

} // namespace ridge::simulator
