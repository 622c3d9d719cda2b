#pragma once

#include "csrsubject.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace ridge::simulator {

/// Creates certificate signing requests (PKCS#10, RSA with SHA-256) with the system's cryptography.
/// All are for one key pair, which lasts as long as the creator and is generated on first use.
class CsrCreator {
public:
    CsrCreator();
    ~CsrCreator();

    CsrCreator(const CsrCreator&) = delete;
    CsrCreator& operator=(const CsrCreator&) = delete;

    /// A request in DER. Throws std::system_error, also for texts that the system does not take.
    std::vector<std::uint8_t> create(const CsrSubject& subject);

private:
    class KeyPair;
    std::unique_ptr<KeyPair> keyPair;
};

} // namespace ridge::simulator
