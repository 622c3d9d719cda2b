#pragma once

#include <string>

namespace ridge {

/// The subject of a certificate signing request, in UTF-8.
struct CsrName {
    std::string commonName;
    std::string country;
    std::string locality;
    std::string organization;
    std::string organizationalUnit;
    std::string stateOrProvince;
};

} // namespace ridge
