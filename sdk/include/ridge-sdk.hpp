/**
 * @file ridge-sdk.hpp
 * @brief The functions of ridge-sdk.h for C++17 and later: scanners as objects, failures as
 *        exceptions, results as values and futures, callbacks as std::function.
 *
 * Everything is in this header and rests on the C functions alone, whose documentation in
 * ridge-sdk.h holds here too: what a function blocks on, which status means what. A program needs
 * nothing more than this header and what links it with the library.
 *
 * @code
 * ridge::Scanner scanner;
 * scanner.connect(ridge::queryDevices().at(0));
 * const ridge::CapturedImage image = scanner.capture();
 * @endcode
 *
 * Rules
 * -----
 *
 * Failures. What the library refuses, or fails at, is thrown as ridge::Error, with the status and
 * the library's own text. An operation that was ended before it had a result throws ridge::Stopped.
 * A lack of memory here is std::bad_alloc, one inside the library Status::unexpectedFailure. A
 * mistake in the use of an object is std::logic_error, a required function that is empty
 * std::bad_function_call.
 *
 * Operations. Captures, host-assisted captures, streams and signing requests come in two forms. The
 * blocking one returns the result. The other, `...Async`, returns a future at once; its failure is
 * thrown by the future's `get`, unless it could not be started. A future that is dropped changes
 * nothing: the operation goes on. One operation runs at a time, a second is refused. This header
 * has no thread of its own: what happens while an operation runs happens on the library's worker.
 *
 * Threads. Use a scanner from one thread at a time; a blocking call is one use from its beginning
 * to its end. Any thread may call, at any time, StopSource::requestStop(); and, as long as the
 * scanner is not moved, connected, disconnected or destroyed meanwhile, Scanner::giveVerdict() and
 * Scanner::isConnected(). Different scanners are independent.
 *
 * Stopping. A blocking operation is stopped with the token that it was given: requestStop() returns
 * at once, and the thread in the blocking call tells the scanner to stop. An operation with a
 * future is stopped with Scanner::stop(). Either way a capture throws ridge::Stopped, unless its
 * image or its failure came just then, and a stream ends without a failure. A scanner that does not
 * confirm the stop is a failure like any other. Nothing stops a signing request.
 *
 * Callbacks. They are called on the library's worker, one at a time. They may use
 * StopSource::requestStop(), giveVerdict() and isConnected(), also while their scanner is being
 * stopped, disconnected, assigned to or destroyed, and everything of another scanner. Everything
 * else of their own scanner throws std::logic_error, and destroying it, or assigning to it, calls
 * std::terminate: both would wait for the callback itself. They must not move it away. For the same
 * reason a callback must not wait for a thread that may be inside a call of its scanner. The
 * scanner waits while a callback runs.
 *
 * Exceptions in callbacks. What a callback throws ends its operation: the blocking form throws it,
 * the future holds it. The callbacks of the operation are not called again. After a future has
 * become ready that way, the scanner itself is stopped by the next call that starts something,
 * changes something, stops, disconnects or destroys.
 *
 * Lifetime. A scanner owns the functions that it is given until the operation is over: until a
 * blocking call returns; otherwise until the scanner is used for something new, stopped,
 * disconnected or destroyed. Destroying a scanner stops what runs and waits for its end; its future
 * becomes ready. For a signing request that means waiting for its result. A scanner can be moved
 * while an operation with a future runs, if its callbacks do not use it.
 *
 * Values. Everything that is returned is a copy that stays valid. What a callback gets is valid
 * until it returns; a copy of it stays valid too.
 */
#pragma once

#include "ridge-sdk.h"

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#if __has_include(<version>)
#include <version>
#endif
#ifdef __cpp_lib_jthread
#include <stop_token>
#endif

namespace ridge {

using Bytes = std::vector<std::uint8_t>;

/** What is handed to the scanner with a capture or stream. */
using Block = std::array<std::uint8_t, 256>;

/** The scanner's device key. */
using DeviceKey = std::array<std::uint8_t, 32>;

/* ---------------------------------------------------------------- Failures ---------------------
 */

/** The failures of ::ridgeStatus. */
enum class Status : std::int32_t {
    invalidArgument = RIDGE_INVALID_ARGUMENT,
    nullArgument = RIDGE_NULL_ARGUMENT,
    unexpectedFailure = RIDGE_UNEXPECTED_FAILURE,
    serialPortError = RIDGE_SERIAL_PORT_ERROR,
    protocolError = RIDGE_PROTOCOL_ERROR,
    timeout = RIDGE_TIMEOUT,
    contextInUse = RIDGE_CONTEXT_IN_USE,
    noResponse = RIDGE_NO_RESPONSE,
    malformedData = RIDGE_MALFORMED_DATA,
    notConnected = RIDGE_NOT_CONNECTED,
    captureActive = RIDGE_CAPTURE_ACTIVE,
    deviceFailure = RIDGE_DEVICE_FAILURE,
    unexpectedResponse = RIDGE_UNEXPECTED_RESPONSE
};

/** A failure that the library reports; `what` is the library's text. */
class Error : public std::runtime_error {
public:
    Error(Status status, const std::string& text) : std::runtime_error(text), code(status) {}

    [[nodiscard]] Status status() const noexcept { return code; }

private:
    Status code;
};

/** An operation was stopped before it had a result. */
class Stopped : public std::runtime_error {
public:
    Stopped() : std::runtime_error("The operation was stopped.") {}
};

/* ---------------------------------------------------------------- Values -----------------------
 */

/** What the scanner says about itself, see ::ridgeDeviceInfo. */
struct ScannerInfo {
    std::string text1;
    std::string text2;
    std::string text3;
    std::string text4;
    std::string text5;
    std::string text6;
    std::string text7;
    std::uint16_t value1 = 0;
    std::uint16_t value2 = 0;
    /** Bits 0 to 4 are the scanner's five features. */
    std::uint32_t features = 0;
};

/** The scanner's settings. */
struct ScannerSettings {
    /** Rotation code of the images, 0 to 3. */
    std::uint8_t rotation = 0;
    bool option = false;
};

/** What a capture shall do, see ::ridgeCaptureParameters. */
struct CaptureParameters {
    /** Code of the finger's position, 0 to 10. */
    std::uint8_t fingerPosition = 0;
    /** How long the scanner waits for a finger, at most 30 seconds. Not used by a host-assisted
     *  capture, but checked all the same. */
    std::chrono::milliseconds timeout{10000};
    /** Options, handed to the scanner as they are; an event callback sets bit 3 in addition. A
     *  host-assisted capture does not accept 0. */
    std::uint32_t option = 1;
    std::optional<Block> block;
};

/** An image of a stream, or one that is shown for judgement. */
struct Image {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    /** The image's bytes, as the scanner sent them; one that is shown for judgement is unmasked. */
    Bytes pixels;
    bool flagA = false;
    bool flagB = false;
    /** Has a meaning only when flagB is set. */
    bool flagC = false;
};

/** The result of a capture. */
struct CapturedImage : Image {
    std::uint8_t extraValue = 0;
    Bytes trailer;
};

/** What the host says of an image that a host-assisted capture shows. */
enum class Verdict : std::uint8_t {
    /** Another image shall follow. */
    reject = 0,
    /** The capture shall follow. */
    accept = 1,
    /** Not decided yet: the scanner waits for Scanner::giveVerdict(). */
    open = 2
};

/** The subject of a signing request: UTF-8 texts, see ::ridgeCsrSubjectName. */
struct SubjectName {
    /** Required. */
    std::string commonName;
    std::string country;
    std::string locality;
    std::string organization;
    std::string organizationalUnit;
    std::string stateOrProvince;
};

/** Called when the scanner reports its capture event, with the time since the capture began. */
using EventCallback = std::function<void(std::chrono::milliseconds elapsed)>;

/** Called for each image of a stream. */
using ImageCallback = std::function<void(const Image&)>;

/** Called for each image that a host-assisted capture shows, and decides about it. */
using Judge = std::function<Verdict(const Image&)>;

/** What a stream shall do. */
struct StreamParameters {
    std::optional<Block> block;
    /** Called for each image that made no sense and was left out; may be empty. */
    std::function<void(const Error&)> onBrokenImage;
};

/** The library's version, such as "1.6.3". */
[[nodiscard]] inline std::string sdkVersion() {
    return ridgeGetSdkVersion();
}

/* ---------------------------------------------------------------- Stopping ---------------------
 */

namespace detail {

/** Where a blocking call waits for its operation's end or for a stop, whichever comes first. */
struct Signal {
    void requestStop() {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            stopRequested = true;
        }
        changed.notify_all();
    }

    std::mutex mutex;
    std::condition_variable changed;
    bool stopRequested = false;
};

#ifdef __cpp_lib_jthread
/** Passes a stop of the standard's kind on. */
struct LinkedSignal : Signal {
    explicit LinkedSignal(const std::stop_token& token) : link(token, [this] { requestStop(); }) {}

    std::stop_callback<std::function<void()>> link;
};
#endif

} // namespace detail

/** Tells an operation to stop. Copies belong to the same source; one without a source never does.
 */
class StopToken {
public:
    StopToken() = default;

#ifdef __cpp_lib_jthread
    /** With C++20, the standard's token serves as well. */
    StopToken(const std::stop_token& token)
        : signal(std::make_shared<detail::LinkedSignal>(token)) {}
#endif

    [[nodiscard]] bool stopRequested() const {
        if (!signal) {
            return false;
        }
        const std::lock_guard<std::mutex> lock(signal->mutex);
        return signal->stopRequested;
    }

private:
    friend class StopSource;
    friend class Scanner;

    explicit StopToken(std::shared_ptr<detail::Signal> source) : signal(std::move(source)) {}

    std::shared_ptr<detail::Signal> signal;
};

/**
 * Stops all operations that were given one of its tokens, now and later: there is no way back. All
 * of it may be used by any thread at any time, callbacks included.
 */
class StopSource {
public:
    [[nodiscard]] StopToken token() const { return StopToken(signal); }

    /** Does not wait for the end of the operation. */
    void requestStop() const { signal->requestStop(); }

    [[nodiscard]] bool stopRequested() const { return token().stopRequested(); }

private:
    std::shared_ptr<detail::Signal> signal = std::make_shared<detail::Signal>();
};

/* ---------------------------------------------------------------- Discovery --------------------
 */

/**
 * A scanner that was attached when it was asked for. Cheap to copy, and valid on its own. The texts
 * are in the system's ANSI code page.
 */
class Device {
public:
    /** The COM port as the system names it, such as "COM3" or "COM12". */
    [[nodiscard]] std::string portName() const { return entry->portName; }
    /** The USB serial number; empty when the system knows none. */
    [[nodiscard]] std::string serialNumber() const { return entry->serialNumber; }
    /** The system's description of the device; may be empty. */
    [[nodiscard]] std::string description() const { return entry->description; }
    /** The manufacturer as the system names it; may be empty. */
    [[nodiscard]] std::string manufacturer() const { return entry->manufacturer; }

private:
    friend std::vector<Device> queryDevices();
    friend class Scanner;

    explicit Device(std::shared_ptr<const ridgeDeviceEntry> listed) : entry(std::move(listed)) {}

    /** Shares the ownership of the library's list. */
    std::shared_ptr<const ridgeDeviceEntry> entry;
};

using DeviceList = std::vector<Device>;

/**
 * Lists the scanners that are attached now, as ridgeQueryDevices() does. Any thread.
 *
 * @throws std::bad_alloc  only if the program was built with the library's compiler can the
 *                         library's own lack of memory be caught; any other program ends
 */
[[nodiscard]] inline DeviceList queryDevices() {
    ridgeDeviceList* found = nullptr;
    // Fails only for a null pointer.
    ridgeQueryDevices(&found);
    const std::shared_ptr<ridgeDeviceList> list(found, ridgeFreeDevices);
    DeviceList devices;
    devices.reserve(list->count);
    for (std::uint32_t index = 0; index < list->count; ++index) {
        devices.push_back(
            Device(std::shared_ptr<const ridgeDeviceEntry>(list, &list->devices[index])));
    }
    return devices;
}

/* ---------------------------------------------------------------- Log --------------------------
 */

enum class LogLevel : std::int32_t { debug = 'D', information = 'I', warning = 'W', error = 'E' };

/**
 * Takes the library's log lines as long as it lives. The log belongs to the whole process: a newer
 * receiver replaces the one before for good, and with the newest one's end the log falls silent,
 * also for a function that ridgeSetLogger() has installed since.
 *
 * The function is called on whichever thread logs, one call at a time. The log is locked during the
 * call: call nothing of the library from it, and destroy no receiver. An exception that leaves it
 * is dropped.
 */
class LogReceiver {
public:
    using Function = std::function<void(LogLevel level, std::string_view line)>;

    /**
     * @param threshold  the least level that is delivered
     * @param receiver   gets lines as ::ridgeLogCallback describes them
     * @throws Error     Status::unexpectedFailure: no memory; nothing is logged now
     */
    LogReceiver(LogLevel threshold, Function receiver) : function(std::move(receiver)) {
        const std::lock_guard<std::mutex> lock(newestMutex);
        const std::int32_t status =
            ridgeSetLogger(static_cast<std::int32_t>(threshold), onLine, this);
        if (status != RIDGE_SUCCESS) {
            throw Error(static_cast<Status>(status), "The log receiver cannot be installed.");
        }
        newest = this;
    }

    /** Waits until a line that is being delivered has been. */
    ~LogReceiver() {
        const std::lock_guard<std::mutex> lock(newestMutex);
        if (newest == this) {
            newest = nullptr;
            // Should this fail, nothing is logged either.
            ridgeSetLogger('E', dropLine, nullptr);
        }
    }

    LogReceiver(const LogReceiver&) = delete;
    LogReceiver& operator=(const LogReceiver&) = delete;

private:
    static void onLine(std::int32_t level, const char* line, void* receiver) noexcept {
        try {
            static_cast<LogReceiver*>(receiver)->function(static_cast<LogLevel>(level), line);
        } catch (...) {
            // There is nobody to tell; a line is lost.
        }
    }

    static void dropLine(std::int32_t, const char*, void*) noexcept {}

    inline static std::mutex newestMutex;
    inline static const LogReceiver* newest = nullptr;

    Function function;
};

/* ---------------------------------------------------------------- Operations -------------------
 */

namespace detail {

/** Follows what the library knows of the verdict, so that a shown image and the capture that
 *  follows an accepted one, which arrive through the same callback, can be told apart. */
class Judgement {
public:
    explicit Judgement(ridgeDeviceContext* judged) : context(judged) {}

    void await() { set(Stage::awaited); }
    void reset() { set(Stage::none); }

    [[nodiscard]] bool isAccepted() const {
        const std::lock_guard<std::mutex> lock(mutex);
        return stage == Stage::accepted;
    }

    /** True when there was an image to decide about. */
    bool give(Verdict verdict) {
        const std::lock_guard<std::mutex> lock(mutex);
        if (stage != Stage::awaited) {
            return false;
        }
        if (verdict != Verdict::open) {
            stage = verdict == Verdict::accept ? Stage::accepted : Stage::none;
            ridgeHostAssistedCaptureSetResult(context, static_cast<std::uint8_t>(verdict));
        }
        return true;
    }

private:
    enum class Stage { none, awaited, accepted };

    void set(Stage next) {
        const std::lock_guard<std::mutex> lock(mutex);
        stage = next;
    }

    mutable std::mutex mutex;
    ridgeDeviceContext* context;
    Stage stage = Stage::none;
};

/** What a scanner shares with the callbacks of its operations. */
struct CallbackSide {
    explicit CallbackSide(ridgeDeviceContext* context) : judgement(context) {}

    [[nodiscard]] bool isCallersThread() const {
        return thread.load() == std::this_thread::get_id();
    }

    /** The worker's, while a callback runs. */
    std::atomic<std::thread::id> thread{std::thread::id()};
    Judgement judgement;
};

/** Something that the library's worker does, and where it reports to. */
class Operation {
public:
    Operation(CallbackSide& callbackSide, std::shared_ptr<Signal> waitingPlace)
        : side(callbackSide), signal(std::move(waitingPlace)) {}
    virtual ~Operation() = default;

    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    [[nodiscard]] bool isDone() const {
        const std::lock_guard<std::mutex> lock(signal->mutex);
        return done;
    }

    void awaitEnd() {
        std::unique_lock<std::mutex> lock(signal->mutex);
        signal->changed.wait(lock, [this] { return done; });
    }

    void awaitEndOrStop() {
        std::unique_lock<std::mutex> lock(signal->mutex);
        signal->changed.wait(lock, [this] { return done || signal->stopRequested; });
    }

    [[nodiscard]] virtual bool canBeStopped() const { return true; }

    /** The library is through with it. */
    virtual void onStopped() { fail(std::make_exception_ptr(Stopped())); }

    static void onErrorCallback(std::int32_t status, const char* message,
                                void* operation) noexcept {
        callBack(operation, [&](Operation& called) {
            called.onFailure(Error(static_cast<Status>(status), message));
        });
    }

    static void onCaptureCallback(const ridgeCaptureResult* result, void* operation) noexcept {
        callBack(operation, [&](Operation& called) { called.onImage(*result); });
    }

    static void onEventCallback(void* operation, std::uint32_t elapsedMilliseconds) noexcept {
        callBack(operation, [&](Operation& called) {
            called.onEvent(std::chrono::milliseconds(elapsedMilliseconds));
        });
    }

    static void onCsrCallback(const std::uint8_t* request, std::uint32_t size,
                              void* operation) noexcept {
        callBack(operation, [&](Operation& called) { called.onRequest(request, size); });
    }

protected:
    virtual void onFailure(const Error& error) { fail(std::make_exception_ptr(error)); }
    virtual void onImage(const ridgeCaptureResult&) {}
    virtual void onEvent(std::chrono::milliseconds) {}
    virtual void onRequest(const std::uint8_t*, std::uint32_t) {}
    virtual void fail(std::exception_ptr failure) = 0;

    /** Nothing has ended it yet, nor asked it to. */
    [[nodiscard]] bool isWanted() const {
        const std::lock_guard<std::mutex> lock(signal->mutex);
        return !done && !signal->stopRequested;
    }

    /** True for an image that made no sense, after which the library goes on. */
    [[nodiscard]] static bool isBrokenImage(const Error& error) {
        return error.status() == Status::malformedData &&
               error.what() == std::string_view("Invalid capture data");
    }

    /** Outlives its operations. */
    CallbackSide& side;
    std::shared_ptr<Signal> signal;
    bool done = false;

private:
    /** Touches the operation no more once the call is over: then a signing request's may be gone.
     */
    template <typename Report>
    static void callBack(void* operation, const Report& report) noexcept {
        auto& called = *static_cast<Operation*>(operation);
        CallbackSide& callbackSide = called.side;
        callbackSide.thread = std::this_thread::get_id();
        try {
            report(called);
        } catch (...) {
            called.fail(std::current_exception());
        }
        callbackSide.thread = std::thread::id();
    }
};

/** An operation whose result is a future's. */
template <typename Result>
class PromisedOperation : public Operation {
public:
    using Operation::Operation;

    [[nodiscard]] std::future<Result> future() { return promise.get_future(); }

protected:
    void fail(std::exception_ptr failure) override {
        finish([&](std::promise<Result>& promised) { promised.set_exception(failure); });
    }

    /** The first end counts. Whoever sees the result finds the operation done, and whoever finds it
     *  done may destroy it. */
    template <typename Fulfil>
    void finish(const Fulfil& fulfil) {
        const std::shared_ptr<Signal> waitingPlace = signal;
        std::unique_lock<std::mutex> lock(waitingPlace->mutex);
        if (done) {
            return;
        }
        std::promise<Result> promised = std::move(promise);
        done = true;
        lock.unlock();
        fulfil(promised);
        waitingPlace->changed.notify_all();
    }

private:
    std::promise<Result> promise;
};

inline Bytes copyOf(const std::uint8_t* bytes, std::uint32_t size) {
    return bytes == nullptr ? Bytes() : Bytes(bytes, bytes + size);
}

inline Image imageOf(const ridgeCaptureResult& result) {
    return {result.width,      result.height,     copyOf(result.image, result.imageSize),
            result.flagA != 0, result.flagB != 0, result.flagC != 0};
}

class Capture : public PromisedOperation<CapturedImage> {
public:
    Capture(CallbackSide& callbackSide, std::shared_ptr<Signal> waitingPlace,
            EventCallback eventCallback)
        : PromisedOperation(callbackSide, std::move(waitingPlace)),
          event(std::move(eventCallback)) {}

protected:
    void onImage(const ridgeCaptureResult& result) override {
        CapturedImage image{imageOf(result), result.extraValue,
                            copyOf(result.trailer, result.trailerSize)};
        finish(
            [&](std::promise<CapturedImage>& promised) { promised.set_value(std::move(image)); });
    }

    void onEvent(std::chrono::milliseconds elapsed) override {
        if (isWanted()) {
            event(elapsed);
        }
    }

private:
    EventCallback event;
};

class AssistedCapture : public Capture {
public:
    AssistedCapture(CallbackSide& callbackSide, std::shared_ptr<Signal> waitingPlace,
                    Judge imageJudge)
        : Capture(callbackSide, std::move(waitingPlace), nullptr), judge(std::move(imageJudge)) {}

protected:
    void onImage(const ridgeCaptureResult& result) override {
        if (side.judgement.isAccepted()) {
            side.judgement.reset();
            Capture::onImage(result);
            return;
        }
        side.judgement.await();
        if (isWanted()) {
            side.judgement.give(judge(imageOf(result)));
        }
    }

    /** To the library an image that makes no sense is one that was shown. */
    void onFailure(const Error& error) override {
        if (side.judgement.isAccepted() || !isBrokenImage(error)) {
            side.judgement.reset();
            Capture::onFailure(error);
            return;
        }
        side.judgement.await();
        side.judgement.give(Verdict::reject);
    }

private:
    Judge judge;
};

class Stream : public PromisedOperation<void> {
public:
    Stream(CallbackSide& callbackSide, std::shared_ptr<Signal> waitingPlace,
           ImageCallback imageCallback, std::function<void(const Error&)> brokenImageCallback)
        : PromisedOperation(callbackSide, std::move(waitingPlace)), image(std::move(imageCallback)),
          brokenImage(std::move(brokenImageCallback)) {}

    void onStopped() override {
        finish([](std::promise<void>& promised) { promised.set_value(); });
    }

protected:
    void onImage(const ridgeCaptureResult& result) override {
        if (isWanted()) {
            image(imageOf(result));
        }
    }

    void onFailure(const Error& error) override {
        if (!isBrokenImage(error)) {
            PromisedOperation::onFailure(error);
        } else if (brokenImage && isWanted()) {
            brokenImage(error);
        }
    }

private:
    ImageCallback image;
    std::function<void(const Error&)> brokenImage;
};

class SigningRequest : public PromisedOperation<Bytes> {
public:
    using PromisedOperation::PromisedOperation;

    [[nodiscard]] bool canBeStopped() const override { return false; }

protected:
    void onRequest(const std::uint8_t* request, std::uint32_t size) override {
        Bytes copy = copyOf(request, size);
        finish([&](std::promise<Bytes>& promised) { promised.set_value(std::move(copy)); });
    }
};

/** A device context and what runs on it; stays in its place when the scanner is moved. */
class ScannerCore {
public:
    ScannerCore() : handle(ridgeCreateDeviceContext()), side(handle) {
        if (handle == nullptr) {
            throw std::bad_alloc();
        }
    }

    ~ScannerCore() {
        end();
        ridgeFreeDeviceContext(handle);
    }

    /** Stops what runs, for a scanner that goes. */
    void end() noexcept {
        if (side.isCallersThread()) {
            std::terminate();
        }
        endOperation();
    }

    ScannerCore(const ScannerCore&) = delete;
    ScannerCore& operator=(const ScannerCore&) = delete;

    [[nodiscard]] ridgeDeviceContext* context() const { return handle; }
    [[nodiscard]] CallbackSide& callbackSide() { return side; }

    /** Throws when a call on the context has failed. */
    void check(std::int32_t status) const {
        if (status != RIDGE_SUCCESS) {
            throw Error(static_cast<Status>(status), ridgeGetLastErrorDescription(handle));
        }
    }

    /** Makes a call that is refused while something runs. */
    template <typename Call>
    void run(const Call& call) {
        if (operation && operation->isDone()) {
            endOperation();
        }
        std::int32_t status = call(handle);
        while (requestEnding && isBusy(status)) {
            std::this_thread::yield();
            status = call(handle);
        }
        check(status);
        requestEnding = false;
    }

    /** Starts an operation; what runs goes on if that is refused. */
    template <typename Started, typename Call>
    auto start(std::unique_ptr<Started> starting, const Call& call) {
        auto result = starting->future();
        // The library gives the pointer back as that of an operation.
        Operation* const reportsTo = starting.get();
        run([&](ridgeDeviceContext* context) { return call(context, reportsTo); });
        operation = std::move(starting);
        return result;
    }

    /** Waits for the end of the operation that was just started, or for a stop. */
    template <typename Result>
    Result finish(std::future<Result> result) {
        operation->awaitEndOrStop();
        endOperation();
        return result.get();
    }

    void stop() {
        if (operation && (operation->canBeStopped() || operation->isDone())) {
            endOperation();
        }
    }

    void endOperation() {
        if (!operation) {
            return;
        }
        if (!operation->canBeStopped()) {
            operation->awaitEnd();
            requestEnding = true;
        }
        ridgeStopCapture(handle);
        side.judgement.reset();
        operation->onStopped();
        operation.reset();
    }

private:
    /** Refused, with nothing sent, because the worker has not ended. */
    [[nodiscard]] bool isBusy(std::int32_t status) const {
        return status == RIDGE_PROTOCOL_ERROR &&
               ridgeGetLastErrorDescription(handle) ==
                   std::string_view("Invalid state - command execution or capture is active!");
    }

    ridgeDeviceContext* handle;
    CallbackSide side;
    std::unique_ptr<Operation> operation;
    /** A signing request that has its result may still count as running for an instant. */
    bool requestEnding = false;
};

} // namespace detail

/* ---------------------------------------------------------------- Scanner ----------------------
 */

/**
 * One scanner: a device context with its session. See the rules at the top for threads, callbacks
 * and lifetime. Unless another exception is named, a function that fails throws Error, with the
 * status that the C function of the same purpose would return.
 *
 * A scanner that was moved from can be destroyed and assigned to. isConnected() and giveVerdict()
 * return false; all else throws std::logic_error.
 */
class Scanner {
public:
    /** Not connected. @throws std::bad_alloc */
    Scanner() : core(std::make_unique<detail::ScannerCore>()) {}

    /** Stops what runs, waits for its end and disconnects. */
    ~Scanner() { end(); }

    Scanner(Scanner&& other) noexcept = default;
    /** What this scanner was is destroyed. */
    Scanner& operator=(Scanner&& other) noexcept {
        if (this != &other) {
            end();
            core = std::move(other.core);
        }
        return *this;
    }

    /* Connection ------------------------------------------------------------------------------ */

    /** Opens a session and reads information and settings, as ridgeConnect() does. */
    void connect(const Device& device) {
        detail::ScannerCore& used = use();
        used.check(ridgeConnect(device.entry.get(), used.context()));
    }

    /** The same by the port's name as the system takes it: "COM3", "\\\\.\\COM12"; see
     *  ridgeConnectCOM(). */
    void connect(const std::string& comPort) {
        detail::ScannerCore& used = use();
        used.check(ridgeConnectCOM(comPort.c_str(), used.context()));
    }

    /** Whether there is a session that has not lost its scanner, see ridgeIsConnected(). */
    [[nodiscard]] bool isConnected() const noexcept {
        return core && ridgeIsConnected(core->context()) != 0;
    }

    /** Stops what runs, waits for its end and ends the session, if there is one. */
    void disconnect() {
        detail::ScannerCore& used = use();
        used.endOperation();
        ridgeDisconnect(used.context());
    }

    /* Information and settings ---------------------------------------------------------------- */

    /** The information as it was last read: when connecting, or when key or certificate were
     *  changed. */
    [[nodiscard]] ScannerInfo info() const {
        detail::ScannerCore& used = use();
        ridgeDeviceInfo read{};
        used.check(ridgeGetInfo(used.context(), &read));
        return {read.text1, read.text2, read.text3,  read.text4,  read.text5,
                read.text6, read.text7, read.value1, read.value2, read.features};
    }

    /** The settings of the moment of connecting. */
    [[nodiscard]] ScannerSettings settings() const {
        detail::ScannerCore& used = use();
        ridgeDeviceSettings read{};
        used.check(ridgeSettingsGet(used.context(), &read));
        return {read.rotation, read.option != 0};
    }

    /** Writes the settings; settings() does not change by it. */
    void setSettings(const ScannerSettings& settings) {
        const ridgeDeviceSettings written{settings.rotation,
                                          static_cast<std::uint8_t>(settings.option ? 1 : 0)};
        use().run([&](ridgeDeviceContext* context) { return ridgeSettingsSet(context, &written); });
    }

    /* Captures -------------------------------------------------------------------------------- */

    /**
     * Captures an image. Blocks until it is there, the capture fails or is stopped.
     *
     * @param parameters  what to capture
     * @param stop        stops it
     * @param onEvent     called for the scanner's events; without it, the scanner is not asked for
     *                    any
     * @throws Error      Status::timeout, "Capture timeout": no finger came, which the text tells
     *                    from a port that takes no bytes; and see ridgeStartCapture()
     * @throws Stopped    before there was an image
     * @throws            what onEvent throws
     */
    CapturedImage capture(const CaptureParameters& parameters = {}, const StopToken& stop = {},
                          EventCallback onEvent = nullptr) {
        auto image = startCapture(parameters, stop, std::move(onEvent));
        return core->finish(std::move(image));
    }

    /** The same without blocking; ended by stop(). */
    [[nodiscard]] std::future<CapturedImage> captureAsync(const CaptureParameters& parameters = {},
                                                          EventCallback onEvent = nullptr) {
        return startCapture(parameters, StopToken(), std::move(onEvent));
    }

    /**
     * Captures with the host's help: shows one image after the other until one is accepted, and
     * returns the capture that follows it. Blocks until then, until it fails or is stopped. An
     * image that makes no sense is rejected without being shown.
     *
     * @param judge       decides about an image, or leaves it open for giveVerdict()
     * @param parameters  what to capture
     * @param stop        stops it
     * @throws Error      see ridgeStartHostAssistedCapture()
     * @throws Stopped    before there was a capture
     * @throws            what judge throws
     */
    CapturedImage captureAssisted(Judge judge, const CaptureParameters& parameters = {},
                                  const StopToken& stop = {}) {
        auto image = startAssistedCapture(std::move(judge), parameters, stop);
        return core->finish(std::move(image));
    }

    /** The same without blocking; ended by stop(). */
    [[nodiscard]] std::future<CapturedImage>
    captureAssistedAsync(Judge judge, const CaptureParameters& parameters = {}) {
        return startAssistedCapture(std::move(judge), parameters, StopToken());
    }

    /**
     * Decides about the image that a host-assisted capture shows. The first decision counts.
     *
     * @return true when an image was waiting for it
     */
    bool giveVerdict(Verdict verdict) {
        return core && core->callbackSide().judgement.give(verdict);
    }

    /**
     * Streams images until the stop, or a failure. Blocks until then. Once a stop was requested, no
     * further image is delivered.
     *
     * @param onImage     gets each image
     * @param stop        ends the stream
     * @param parameters  what to stream
     * @throws Error      see ridgeStartStream()
     * @throws            what the callbacks throw
     */
    void stream(ImageCallback onImage, const StopToken& stop, StreamParameters parameters = {}) {
        auto end = startStream(std::move(onImage), stop, std::move(parameters));
        core->finish(std::move(end));
    }

    /** The same without blocking; ended by stop(). The future becomes ready when the stream has
     *  ended. */
    [[nodiscard]] std::future<void> streamAsync(ImageCallback onImage,
                                                StreamParameters parameters = {}) {
        return startStream(std::move(onImage), StopToken(), std::move(parameters));
    }

    /** Stops a capture, host-assisted capture or stream and waits for its end; its future is ready
     *  then. With nothing of that kind running it returns at once. */
    void stop() { use().stop(); }

    /* Key and certificate --------------------------------------------------------------------- */

    /** Gives the scanner its device key. The caller wipes its own copy. */
    void setKey(const DeviceKey& key) {
        use().run([&](ridgeDeviceContext* context) {
            return ridgeDeviceSecuritySetKey(context, key.data());
        });
    }

    /** Makes the scanner forget its device key. */
    void clearKey() { use().run(ridgeDeviceSecurityClearKey); }

    /** The scanner's certificate; empty when it has none. */
    [[nodiscard]] Bytes certificate() {
        std::uint8_t* bytes = nullptr;
        std::uint32_t size = 0;
        use().run([&](ridgeDeviceContext* context) {
            return ridgeDeviceSecurityCertGet(context, &bytes, &size);
        });
        const std::unique_ptr<std::uint8_t, decltype(&ridgeDeviceSecurityCertFree)> owner(
            bytes, ridgeDeviceSecurityCertFree);
        return detail::copyOf(bytes, size);
    }

    /** Gives the scanner a certificate of 1 to 6000 bytes. */
    void setCertificate(const Bytes& certificate) {
        // An empty vector may have no address, which would be another mistake.
        static constexpr std::uint8_t nothing = 0;
        const std::uint8_t* const bytes = certificate.empty() ? &nothing : certificate.data();
        use().run([&](ridgeDeviceContext* context) {
            return ridgeDeviceSecurityCertSet(context, bytes,
                                              static_cast<std::uint32_t>(certificate.size()));
        });
    }

    /** Makes the scanner forget its certificate and the keys that belong to it. */
    void clearCertificate() { use().run(ridgeDeviceSecurityCertClear); }

    /** Lets the scanner create a signing request. Blocks until it is there, at most some 13
     *  seconds; cannot be stopped. See ridgeDeviceSecurityCreateCsr(). */
    [[nodiscard]] Bytes createSigningRequest(const SubjectName& subject) {
        auto request = createSigningRequestAsync(subject);
        return core->finish(std::move(request));
    }

    /** The same without blocking. */
    [[nodiscard]] std::future<Bytes> createSigningRequestAsync(const SubjectName& subject) {
        detail::ScannerCore& used = use();
        const ridgeCsrSubjectName name{
            subject.commonName.c_str(),         subject.country.c_str(),
            subject.locality.c_str(),           subject.organization.c_str(),
            subject.organizationalUnit.c_str(), subject.stateOrProvince.c_str()};
        return used.start(std::make_unique<detail::SigningRequest>(
                              used.callbackSide(), std::make_shared<detail::Signal>()),
                          [&](ridgeDeviceContext* context, detail::Operation* operation) {
                              return ridgeDeviceSecurityCreateCsr(
                                  context, &name, detail::Operation::onCsrCallback,
                                  detail::Operation::onErrorCallback, operation);
                          });
    }

private:
    static constexpr ridgeCaptureCallbacks callbacks(bool withEvents) {
        return {detail::Operation::onErrorCallback, detail::Operation::onCaptureCallback,
                withEvents ? detail::Operation::onEventCallback : nullptr};
    }

    static ridgeCaptureParameters plain(const CaptureParameters& parameters) {
        // What does not fit is too long, and refused as such.
        const bool fits = parameters.timeout.count() >= 0 && parameters.timeout.count() < INT32_MAX;
        return {parameters.fingerPosition,
                fits ? static_cast<std::uint32_t>(parameters.timeout.count()) : UINT32_MAX,
                parameters.option};
    }

    static const std::uint8_t* plain(const std::optional<Block>& block) {
        return block ? block->data() : nullptr;
    }

    /** The core stays until the last callback is over, which may still ask the scanner. */
    void end() noexcept {
        if (core) {
            core->end();
        }
    }

    static std::shared_ptr<detail::Signal> waitingPlace(const StopToken& stop) {
        return stop.signal ? stop.signal : std::make_shared<detail::Signal>();
    }

    /** The core, unless this is no time to use it. */
    [[nodiscard]] detail::ScannerCore& use() const {
        if (!core) {
            throw std::logic_error("The scanner was moved from.");
        }
        if (core->callbackSide().isCallersThread()) {
            throw std::logic_error("A callback must not use its own scanner.");
        }
        return *core;
    }

    std::future<CapturedImage> startCapture(const CaptureParameters& parameters,
                                            const StopToken& stop, EventCallback onEvent) {
        detail::ScannerCore& used = use();
        const ridgeCaptureParameters captured = plain(parameters);
        const ridgeCaptureCallbacks reportsTo = callbacks(static_cast<bool>(onEvent));
        return used.start(std::make_unique<detail::Capture>(used.callbackSide(), waitingPlace(stop),
                                                            std::move(onEvent)),
                          [&](ridgeDeviceContext* context, detail::Operation* operation) {
                              return ridgeStartCapture(context, &captured, plain(parameters.block),
                                                       &reportsTo, operation);
                          });
    }

    std::future<CapturedImage>
    startAssistedCapture(Judge judge, const CaptureParameters& parameters, const StopToken& stop) {
        detail::ScannerCore& used = use();
        const ridgeCaptureParameters captured = plain(parameters);
        const ridgeCaptureCallbacks reportsTo = callbacks(false);
        return used.start(std::make_unique<detail::AssistedCapture>(
                              used.callbackSide(), waitingPlace(stop), std::move(judge)),
                          [&](ridgeDeviceContext* context, detail::Operation* operation) {
                              return ridgeStartHostAssistedCapture(context, &captured,
                                                                   plain(parameters.block),
                                                                   &reportsTo, operation);
                          });
    }

    std::future<void> startStream(ImageCallback onImage, const StopToken& stop,
                                  StreamParameters parameters) {
        detail::ScannerCore& used = use();
        const ridgeCaptureCallbacks reportsTo = callbacks(false);
        return used.start(std::make_unique<detail::Stream>(used.callbackSide(), waitingPlace(stop),
                                                           std::move(onImage),
                                                           std::move(parameters.onBrokenImage)),
                          [&](ridgeDeviceContext* context, detail::Operation* operation) {
                              return ridgeStartStream(context, plain(parameters.block), &reportsTo,
                                                      operation);
                          });
    }

    std::unique_ptr<detail::ScannerCore> core;
};

} // namespace ridge
