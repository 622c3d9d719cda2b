// Any sequence of calls, on two contexts, with a simulated scanner each. The program's clock jumps,
// so that time-outs take no time.

#include "dialogues.h"
#include "host.h"
#include "require.h"

#include <array>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

namespace {

using ridge::test::FaultyLine;
using ridge::test::Host;
using ridge::test::require;
using ridge::test::smallScanner;

constexpr std::array<const char*, 2> ports{"COM3", "COM4"};

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
        require(status >= 2 && status <= 14);
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
    explicit Caller(const char* portName)
        : port(portName), line(portName, smallScanner()), host(std::make_unique<Host>()) {}

    void call(std::uint8_t which, std::uint8_t argument) {
        ridgeDeviceContext* const context = host->context();
        const std::array<std::uint8_t, 32> bytes{argument};
        const ridgeDeviceSettings settings{argument, 1};
        ridgeDeviceSettings readSettings{};
        ridgeDeviceInfo info{};
        std::uint8_t* certificate = nullptr;
        std::uint32_t size = 0;
        switch (which % 17) {
        case 0:
            check(host->connect(argument % 8 == 0 ? "COM99" : port));
            break;
        case 1:
            ridgeDisconnect(context);
            break;
        case 2:
            check(ridgeGetInfo(context, argument % 8 == 0 ? nullptr : &info));
            break;
        case 3:
            check(ridgeSettingsGet(context, &readSettings));
            break;
        case 4:
            check(ridgeSettingsSet(context, &settings));
            break;
        case 5:
            check(host->startCapture({argument, 1000, 1}, argument % 2 == 0));
            break;
        case 6:
            check(host->startHostAssistedCapture({1, 1000, argument}));
            break;
        case 7:
            check(host->startStream());
            break;
        case 8:
            ridgeHostAssistedCaptureSetResult(context, argument);
            break;
        case 9:
            ridgeStopCapture(context);
            break;
        case 10:
            check(ridgeDeviceSecuritySetKey(context, bytes.data()));
            break;
        case 11:
            check(ridgeDeviceSecurityClearKey(context));
            break;
        case 12:
            check(ridgeDeviceSecurityCertSet(context, bytes.data(), argument % 40 % 33));
            break;
        case 13:
            check(ridgeDeviceSecurityCertGet(context, &certificate, &size));
            ridgeDeviceSecurityCertFree(certificate);
            break;
        case 14:
            check(ridgeDeviceSecurityCertClear(context));
            break;
        case 15:
            createCsr(argument);
            break;
        default:
            host = std::make_unique<Host>();
            break;
        }
    }

private:
    void check(std::int32_t status) {
        require(status == RIDGE_SUCCESS || (status >= 2 && status <= 14));
        (void)host->lastError();
    }

    void createCsr(std::uint8_t argument) {
        const std::string name(argument, 'n');
        const ridgeCsrSubjectName subject{name.c_str(), "DE", nullptr, nullptr, nullptr, nullptr};
        csrEnd.forget();
        const std::int32_t status = ridgeDeviceSecurityCreateCsr(
            host->context(), &subject, CsrEnd::onCsr, CsrEnd::onError, &csrEnd);
        check(status);
        if (status == RIDGE_SUCCESS) {
            csrEnd.wait();
        }
    }

    std::string port;
    FaultyLine line;
    /// Outlives the host: its session waits for the callback's return.
    CsrEnd csrEnd;
    std::unique_ptr<Host> host;
};

} // namespace

/// Calls of two bytes each: which, and an argument, whose highest bit chooses the context.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Caller first(ports[0]);
    Caller second(ports[1]);
    for (std::size_t index = 0; index + 1 < size; index += 2) {
        Caller& caller = data[index + 1] < 0x80 ? first : second;
        caller.call(data[index], static_cast<std::uint8_t>(data[index + 1] & 0x7F));
    }
    return 0;
}
