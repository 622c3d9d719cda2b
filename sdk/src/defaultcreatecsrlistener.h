#pragma once

#include "createcsrlistener.h"
#include "ridge-sdk.h"

namespace ridge {

/// Forwards to the caller's callbacks.
class DefaultCreateCsrListener final : public CreateCsrListener {
public:
    DefaultCreateCsrListener(ridgeCsrCallback csrCallback, ridgeErrorCallback errorCallback,
                             void* userContext);

    void onError(std::int32_t code, const std::string& message) override;
    /// Throws std::out_of_range for a request without bytes.
    void onCsrCreated(const std::vector<std::uint8_t>& request) override;

private:
    ridgeCsrCallback csrCallback;
    ridgeErrorCallback errorCallback;
    void* userContext;
};

} // namespace ridge
