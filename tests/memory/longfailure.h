#pragma once

#include <exception>

namespace ridge::test {

/// A failure whose text takes more memory than a string has of its own.
class LongFailure final : public std::exception {
public:
    [[nodiscard]] const char* what() const noexcept override {
        return "a text that is too long for the memory inside a string object";
    }
};

} // namespace ridge::test
