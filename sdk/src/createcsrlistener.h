#pragma once

#include "baselistener.h"

#include <cstdint>
#include <vector>

namespace ridge {

/// Hears of the end of a signing request's creation, on the worker's thread.
class CreateCsrListener : public BaseListener {
public:
    /// The bytes are valid only during the call.
    virtual void onCsrCreated(const std::vector<std::uint8_t>& request) = 0;
};

} // namespace ridge
