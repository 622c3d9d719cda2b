// Any sequence of calls, on two contexts, with a simulated scanner each. The program's clock jumps,
// so that time-outs take no time.

#include "attacheddevices.h"
#include "dialogues.h"
#include "logger.h"
#include "require.h"
#include "ridge-sdk.h"
#include "runs.h"
#include "scanneridentifiers.h"

#include <array>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using ridge::test::FaultKind;
using ridge::test::FaultyLine;
using ridge::test::Lane;
using ridge::test::LineFault;
using ridge::test::require;
using ridge::test::smallScanner;

constexpr std::array<const char*, 2> ports{"COM3", "COM4"};
/// Arguments whose meaning is the same in every call.
constexpr std::uint8_t noContext = 0x7F;
constexpr std::uint8_t nothingGiven = 0x7E;

void requireFailure(std::int32_t status) {
    require(status >= 2 && status <= 14);
}

void onError(std::int32_t status, const char* message, void*) {
    requireFailure(status);
    require(!std::string_view(message).empty());
}

void onCapture(const ridgeCaptureResult* result, void*) {
    require(result->imageSize == 0 || result->image != nullptr);
}

void onEvent(void*, std::uint32_t) {}

void onLine(std::int32_t level, const char* line, void*) {
    require(std::string_view("DIWE").find(static_cast<char>(level)) != std::string_view::npos);
    require(!std::string_view(line).empty());
}

/// The end of a signing request.
class CsrEnd {
public:
    void forget() {
        const std::lock_guard lock(mutex);
        here = false;
    }
    void wait() {
        std::unique_lock lock(mutex);
        came.wait(lock, [this] { return here; });
    }

    static void onCsr(const std::uint8_t*, std::uint32_t, void* end) {
        static_cast<CsrEnd*>(end)->notify();
    }
    static void onError(std::int32_t status, const char*, void* end) {
        requireFailure(status);
        static_cast<CsrEnd*>(end)->notify();
    }

private:
    void notify() {
        const std::lock_guard lock(mutex);
        here = true;
        came.notify_all();
    }

    std::mutex mutex;
    std::condition_variable came;
    bool here = false;
};

/// A host that never releases a session while the scanner creates a signing request.
class Caller {
public:
    Caller(const char* portName, std::optional<LineFault> fault)
        : port(portName), line(portName, smallScanner(), fault),
          context(ridgeCreateDeviceContext()) {}
    ~Caller() {
        ridgeFreeDeviceContext(context);
        ridgeFreeDevices(list);
    }

    Caller(const Caller&) = delete;
    Caller& operator=(const Caller&) = delete;

    void call(std::uint8_t which, std::uint8_t argument) {
        const Call now{argument == noContext ? nullptr : context, argument};
        switch (which % 23) {
        case 0:
            connect(now);
            break;
        case 1:
            ridgeDisconnect(now.context);
            break;
        case 2: {
            ridgeDeviceInfo info{};
            now.check(ridgeGetInfo(now.context, now.given(&info)));
            break;
        }
        case 3: {
            ridgeDeviceSettings settings{};
            now.check(ridgeSettingsGet(now.context, now.given(&settings)));
            break;
        }
        case 4: {
            const ridgeDeviceSettings settings{argument, 1};
            now.check(ridgeSettingsSet(now.context, now.given(&settings)));
            break;
        }
        case 5: {
            const ridgeCaptureParameters parameters{argument, 1000, 1};
            const ridgeCaptureCallbacks callbacks =
                callbacksOf(now, argument % 2 == 0 ? onEvent : nullptr);
            now.checkOfTwo(ridgeStartCapture(now.context, now.given(&parameters), blockOf(argument),
                                             now.given(&callbacks), nullptr));
            break;
        }
        case 6: {
            const ridgeCaptureParameters parameters{1, 1000, argument};
            const ridgeCaptureCallbacks callbacks = callbacksOf(now, nullptr);
            now.checkOfTwo(ridgeStartHostAssistedCapture(now.context, now.given(&parameters),
                                                         blockOf(argument), now.given(&callbacks),
                                                         nullptr));
            break;
        }
        case 7: {
            const ridgeCaptureCallbacks callbacks = callbacksOf(now, nullptr);
            now.checkOfTwo(
                ridgeStartStream(now.context, blockOf(argument), now.given(&callbacks), nullptr));
            break;
        }
        case 8:
            ridgeHostAssistedCaptureSetResult(now.context, argument);
            break;
        case 9:
            ridgeStopCapture(now.context);
            break;
        case 10:
            now.check(ridgeDeviceSecuritySetKey(now.context, now.given(bytes.data())));
            break;
        case 11:
            now.checkContextOnly(ridgeDeviceSecurityClearKey(now.context));
            break;
        case 12:
            // The largest certificate has 6000 bytes.
            now.check(
                ridgeDeviceSecurityCertSet(now.context, now.given(bytes.data()), argument * 60U));
            break;
        case 13: {
            std::uint8_t* certificate = nullptr;
            std::uint32_t size = 0;
            now.checkOfTwo(ridgeDeviceSecurityCertGet(now.context, now.first(&certificate),
                                                      now.second(&size)));
            ridgeDeviceSecurityCertFree(certificate);
            break;
        }
        case 14:
            now.checkContextOnly(ridgeDeviceSecurityCertClear(now.context));
            break;
        case 15:
            createCsr(now);
            break;
        case 16:
            ridgeFreeDeviceContext(now.context);
            if (now.context != nullptr) {
                context = ridgeCreateDeviceContext();
            }
            break;
        case 17:
            ridgeFreeDevices(list);
            list = nullptr;
            now.checkArgumentsOnly(ridgeQueryDevices(now.given(&list)));
            break;
        case 18:
            connectToListed(now);
            break;
        case 19:
            ridgeFreeDevices(list);
            list = nullptr;
            break;
        case 20:
            require(ridgeIsConnected(now.context) <= (now.context == nullptr ? 0 : 1));
            break;
        case 21:
            now.checkArgumentsOnly(ridgeSetLogger(levels[argument % levels.size()],
                                                  now.isComplete() ? onLine : nullptr, nullptr));
            break;
        default:
            require(!std::string_view(ridgeGetSdkVersion()).empty());
            break;
        }
        (void)std::string(ridgeGetLastErrorDescription(argument == noContext ? nullptr : context));
    }

private:
    /// What a call is given. What it requires may be left out, and then it fails.
    struct Call {
        ridgeDeviceContext* context;
        std::uint8_t argument;

        [[nodiscard]] bool isComplete() const { return argument != nothingGiven; }

        template <typename Value>
        Value* given(Value* value) const {
            return isComplete() ? value : nullptr;
        }
        /// Of two that a call requires, one may be left out by itself.
        [[nodiscard]] bool hasFirst() const { return isComplete() && argument % 8 != 6; }
        [[nodiscard]] bool hasSecond() const { return isComplete() && argument % 8 != 7; }

        template <typename Value>
        Value* first(Value* value) const {
            return hasFirst() ? value : nullptr;
        }
        template <typename Value>
        Value* second(Value* value) const {
            return hasSecond() ? value : nullptr;
        }

        static void checkStatus(std::int32_t status, bool maySucceed) {
            if (!maySucceed || status != RIDGE_SUCCESS) {
                requireFailure(status);
            }
        }
        void check(std::int32_t status) const {
            checkStatus(status, context != nullptr && isComplete());
        }
        void checkOfTwo(std::int32_t status) const {
            checkStatus(status, context != nullptr && hasFirst() && hasSecond());
        }
        void checkContextOnly(std::int32_t status) const {
            checkStatus(status, context != nullptr);
        }
        void checkArgumentsOnly(std::int32_t status) const { checkStatus(status, isComplete()); }
    };

    static ridgeCaptureCallbacks callbacksOf(const Call& now, ridgeEventCallback event) {
        return {now.first(onError), now.second(onCapture), event};
    }

    static const std::uint8_t* blockOf(std::uint8_t argument) {
        return argument % 4 == 0 ? bytes.data() : nullptr;
    }

    void connect(const Call& now) {
        const char* const name = now.argument % 8 == 7 ? "COM99" : port;
        now.check(ridgeConnectCOM(now.given(name), now.context));
    }

    /// To one of a list, to one that comes from no list, or to none.
    void connectToListed(const Call& now) {
        const ridgeDeviceEntry ofNoList{};
        const ridgeDeviceEntry* device = &ofNoList;
        if (list != nullptr && now.argument % 8 != 7) {
            require(list->count == ports.size());
            device = list->devices + now.argument % list->count;
        }
        now.check(ridgeConnect(now.given(device), now.context));
    }

    void createCsr(const Call& now) {
        const std::string name(now.argument, 'n');
        const ridgeCsrSubjectName subject{name.c_str(), "DE", nullptr, nullptr, nullptr, nullptr};
        csrEnd.forget();
        const std::int32_t status =
            ridgeDeviceSecurityCreateCsr(now.context, now.given(&subject), now.first(CsrEnd::onCsr),
                                         now.second(CsrEnd::onError), &csrEnd);
        now.checkOfTwo(status);
        if (status == RIDGE_SUCCESS) {
            csrEnd.wait();
        }
    }

    static constexpr std::array<std::uint8_t, 8000> bytes{0x30, 0x7D, 0x7E, 0x7F};
    static constexpr std::array<std::int32_t, 5> levels{'D', 'I', 'W', 'E', 'X'};

    const char* port;
    FaultyLine line;
    /// Outlives the context: its session waits for the callback's return.
    CsrEnd csrEnd;
    ridgeDeviceContext* context;
    ridgeDeviceList* list = nullptr;
};

/// What goes wrong on the first host's line: nothing, or a kind of fault at some byte.
std::optional<LineFault> faultOf(ridge::test::Runs& input) {
    constexpr std::array kinds{FaultKind::drop, FaultKind::doubled, FaultKind::flip,
                               FaultKind::unplug};
    const std::size_t choice = input.byte();
    const std::size_t offset = input.byte();
    if (choice % 5 == 0) {
        return std::nullopt;
    }
    const std::size_t way = choice / 5;
    // A connect takes more than 200 bytes; up to ten times as many.
    return LineFault{kinds[choice % 5 - 1], way % 2 == 0 ? Lane::toHost : Lane::toScanner,
                     offset * 8 + way / 2 % 8, static_cast<unsigned>(offset % 8)};
}

} // namespace

/// A fault of the first line (2), then calls of two bytes each: which, and an argument, whose
/// highest bit chooses the context.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const ridge::test::AttachedDevices attached({{"COM3", "1", "Scanner", "Maker", ports[0],
                                                  ridge::scannerVendorId, ridge::scannerProductId},
                                                 {"COM4", "2", "Scanner", "Maker", ports[1],
                                                  ridge::scannerVendorId, ridge::scannerProductId},
                                                 {"COM5", "3", "Modem", "Maker", "COM5", 1, 1}});
    ridge::test::Runs input({data, size});
    Caller first(ports[0], faultOf(input));
    Caller second(ports[1], std::nullopt);
    while (!input.ended()) {
        const std::uint8_t which = input.byte();
        const std::uint8_t argument = input.byte();
        Caller& caller = argument < 0x80 ? first : second;
        caller.call(which, static_cast<std::uint8_t>(argument & 0x7F));
    }
    ridge::removeLogger();
    return 0;
}
