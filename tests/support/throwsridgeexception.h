#pragma once

#include "ridgeexception.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <string>

namespace ridge::test {

/// Matches a callable that throws a RidgeException with this status code and exactly this text.
inline auto throwsRidgeException(std::int32_t code, const std::string& message) {
    return testing::Throws<RidgeException>(
        testing::AllOf(testing::Property("code", &RidgeException::code, code),
                       testing::Property("what", &RidgeException::what, testing::StrEq(message))));
}

} // namespace ridge::test
