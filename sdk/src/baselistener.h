#pragma once

#include <cstdint>
#include <string>

namespace ridge {

/// Hears of a worker's failure, on the worker's thread.
class BaseListener {
public:
    virtual ~BaseListener() = default;
    virtual void onError(std::int32_t code, const std::string& message) = 0;
};

} // namespace ridge
