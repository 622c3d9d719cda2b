#pragma once

#include "ridge-sdk.h"

#include <string>

namespace ridge {

/// The subject of a certificate signing request, in UTF-8.
struct CsrName {
    CsrName() = default;
    /// Copies the texts, a null pointer as an empty one, and checks them: throws status 2.
    explicit CsrName(const ridgeCsrSubjectName& subject);

    /// Throws status 2 for the first field that is not as it must be.
    void validate() const;

    std::string commonName;
    std::string country;
    std::string locality;
    std::string organization;
    std::string organizationalUnit;
    std::string stateOrProvince;
};

} // namespace ridge
