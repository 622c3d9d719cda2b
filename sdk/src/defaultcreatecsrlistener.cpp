#include "defaultcreatecsrlistener.h"

#include <stdexcept>

namespace ridge {

DefaultCreateCsrListener::DefaultCreateCsrListener(ridgeCsrCallback csr, ridgeErrorCallback error,
                                                   void* context)
    : csrCallback(csr), errorCallback(error), userContext(context) {}

void DefaultCreateCsrListener::onError(std::int32_t code, const std::string& message) {
    errorCallback(code, message.c_str(), userContext);
}

void DefaultCreateCsrListener::onCsrCreated(const std::vector<std::uint8_t>& request) {
    if (request.empty()) {
        // Hosts know this text, whatever a standard library's own check would say.
        throw std::out_of_range("invalid vector<T> subscript");
    }
    csrCallback(request.data(), static_cast<std::uint32_t>(request.size()), userContext);
}

} // namespace ridge
