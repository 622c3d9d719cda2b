#include "defaultcreatecsrlistener.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace ridge {
namespace {

using testing::ElementsAre;
using testing::ThrowsMessage;

struct Caller {
    std::vector<std::string> calls;
    const std::uint8_t* bytes = nullptr;
};

void onCsr(const std::uint8_t* request, std::uint32_t size, void* userContext) {
    auto& caller = *static_cast<Caller*>(userContext);
    caller.bytes = request;
    caller.calls.push_back("csr " + std::string(request, request + size));
}

void onError(std::int32_t status, const char* message, void* userContext) {
    static_cast<Caller*>(userContext)
        ->calls.push_back("error " + std::to_string(status) + " " + message);
}

TEST(DefaultCreateCsrListener, Request_IsHandedOutAsItIs) {
    Caller caller;
    DefaultCreateCsrListener listener(onCsr, onError, &caller);
    const std::vector<std::uint8_t> request{'a', 'b', 'c'};
    listener.onCsrCreated(request);
    EXPECT_THAT(caller.calls, ElementsAre("csr abc"));
    EXPECT_EQ(caller.bytes, request.data());
}

TEST(DefaultCreateCsrListener, RequestOfOneByte_IsHandedOut) {
    Caller caller;
    DefaultCreateCsrListener listener(onCsr, onError, &caller);
    listener.onCsrCreated({'x'});
    EXPECT_THAT(caller.calls, ElementsAre("csr x"));
}

TEST(DefaultCreateCsrListener, EmptyRequest_ThrowsAndCallsNobody) {
    Caller caller;
    DefaultCreateCsrListener listener(onCsr, onError, &caller);
    EXPECT_THAT([&] { listener.onCsrCreated({}); },
                ThrowsMessage<std::out_of_range>("invalid vector<T> subscript"));
    EXPECT_TRUE(caller.calls.empty());
}

TEST(DefaultCreateCsrListener, Error_IsHandedOutWithStatusAndText) {
    Caller caller;
    DefaultCreateCsrListener listener(onCsr, onError, &caller);
    listener.onError(9, "Timeout creating CSR.");
    EXPECT_THAT(caller.calls, ElementsAre("error 9 Timeout creating CSR."));
}

} // namespace
} // namespace ridge
