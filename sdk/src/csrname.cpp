#include "csrname.h"

#include "ridgeexception.h"
#include "statuscode.h"

#include <utf8cpp/utf8.h>

#include <algorithm>
#include <string_view>

namespace ridge {
namespace {

std::string textOrEmpty(const char* text) {
    return text == nullptr ? "" : text;
}

int countCharacters(const std::string& text, const char* label) {
    try {
        return static_cast<int>(utf8::distance(text.begin(), text.end()));
    } catch (const utf8::exception&) {
        throw RIDGE_EXCEPTION(status::invalidArgument, "Value for %s is not a valid UTF-8 string.",
                              label);
    }
}

void checkField(const std::string& text, bool required, const char* label, int minLength,
                int maxLength) {
    if (text.empty()) {
        if (required && minLength > 0) {
            throw RIDGE_EXCEPTION(status::invalidArgument, "%s must be specified.", label);
        }
        return;
    }
    const int length = countCharacters(text, label);
    if (length < minLength || length > maxLength) {
        throw RIDGE_EXCEPTION(
            status::invalidArgument,
            "Value for %s has invalid length %d. Expected between %d and %d characters.", label,
            length, minLength, maxLength);
    }
}

/// The characters of an ASN.1 PrintableString.
bool isPrintable(char character) {
    constexpr std::string_view digitsAndLetters =
        "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    constexpr std::string_view others = " '()+,-./:=?";
    return digitsAndLetters.find(character) != std::string_view::npos ||
           others.find(character) != std::string_view::npos;
}

void checkCountry(const std::string& country) {
    constexpr std::size_t codeLength = 2;
    if (country.empty()) {
        return;
    }
    if (country.size() != codeLength || !std::all_of(country.begin(), country.end(), isPrintable)) {
        throw RIDGE_EXCEPTION(status::invalidArgument, "Invalid country name value.");
    }
}

} // namespace

CsrName::CsrName(const ridgeCsrSubjectName& subject)
    : commonName(textOrEmpty(subject.commonName)), country(textOrEmpty(subject.country)),
      locality(textOrEmpty(subject.locality)), organization(textOrEmpty(subject.organization)),
      organizationalUnit(textOrEmpty(subject.organizationalUnit)),
      stateOrProvince(textOrEmpty(subject.stateOrProvince)) {
    validate();
}

void CsrName::validate() const {
    checkField(commonName, true, "common name", 1, 64);
    checkField(locality, false, "locality name", 0, 128);
    checkField(organization, false, "organization name", 0, 64);
    checkField(organizationalUnit, false, "organizational unit name", 1, 64);
    checkField(stateOrProvince, false, "state or province name", 1, 128);
    checkCountry(country);
}

} // namespace ridge
