#include "memoryline.h"

#include "codescope.h"
#include "defaultserialport.h"
#include "logmessage.h"
#include "ridgeexception.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <exception>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace ridge::test {

/// What the two ends share.
struct MemoryLine::State {
    struct Event {
        Bytes bytes;
        /// A failure instead of bytes when not empty.
        std::string failure;
    };

    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Event> toHost;
    bool delivering = false;
    int ports = 0;

    std::mutex handlerMutex;
    std::function<void(const Bytes&)> handler;

    void waitUntilTaken() {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return ports == 0 || (toHost.empty() && !delivering); });
    }
};

namespace {

constinit thread_local bool onPortThread = false;

std::mutex registryMutex;
std::map<std::string, std::shared_ptr<MemoryLine::State>>& registry() {
    static std::map<std::string, std::shared_ptr<MemoryLine::State>> lines;
    return lines;
}

std::shared_ptr<MemoryLine::State> findLine(const std::string& name) {
    const std::lock_guard lock(registryMutex);
    const auto found = registry().find(name);
    return found == registry().end() ? nullptr : found->second;
}

} // namespace

MemoryLine::MemoryLine(std::string portName)
    : name(std::move(portName)), state(std::make_shared<State>()) {
    const std::lock_guard lock(registryMutex);
    registry()[name] = state;
}

MemoryLine::~MemoryLine() {
    {
        const std::lock_guard lock(registryMutex);
        registry().erase(name);
    }
    onHostWrite(nullptr);
}

void MemoryLine::onHostWrite(std::function<void(const Bytes&)> handler) {
    const std::lock_guard lock(state->handlerMutex);
    state->handler = std::move(handler);
}

void MemoryLine::deliver(Bytes bytes) {
    {
        const std::lock_guard lock(state->mutex);
        state->toHost.push_back({std::move(bytes), {}});
    }
    state->changed.notify_all();
}

void MemoryLine::waitUntilTaken() {
    state->waitUntilTaken();
}

void MemoryLine::failReceiving(const std::string& text) {
    postFailure(text);
    state->waitUntilTaken();
}

void MemoryLine::postFailure(const std::string& text) {
    {
        const std::lock_guard lock(state->mutex);
        state->toHost.push_back({{}, text});
    }
    state->changed.notify_all();
}

bool MemoryLine::isPortThread() {
    return onPortThread;
}

bool MemoryLine::allQuiet() {
    const std::lock_guard registryLock(registryMutex);
    return std::all_of(registry().begin(), registry().end(), [](const auto& entry) {
        const std::lock_guard lock(entry.second->mutex);
        return entry.second->toHost.empty() && !entry.second->delivering;
    });
}

int MemoryLine::openPorts() const {
    const std::lock_guard lock(state->mutex);
    return state->ports;
}

} // namespace ridge::test

namespace ridge {

/// The near end: stands in for the operating system's port.
template <typename PortName>
struct DefaultSerialPort<PortName>::Private {
    std::shared_ptr<test::MemoryLine::State> line;
    bool closing = false;

    /// As the system's port does: a report for which there is no memory is dropped.
    static void reportFailure(SerialPortErrorListener& errorListener, const std::string& text) {
        try {
            errorListener.onSerialPortError(text);
        } catch (const std::exception& failure) {
            RIDGE_LOG(logError, "Error reporting a failure of the port. %s", failure.what());
        }
    }

    void deliverLoop(SerialPortListener& listener, SerialPortErrorListener& errorListener) {
        test::onPortThread = true;
        std::unique_lock lock(line->mutex);
        while (true) {
            line->changed.wait(lock, [this] { return closing || !line->toHost.empty(); });
            if (closing) {
                return;
            }
            const test::MemoryLine::State::Event event = std::move(line->toHost.front());
            line->toHost.pop_front();
            line->delivering = true;
            lock.unlock();
            if (event.failure.empty()) {
                listener.onData(event.bytes.data(), static_cast<std::uint32_t>(event.bytes.size()));
            } else {
                reportFailure(errorListener, event.failure);
            }
            lock.lock();
            line->delivering = false;
            line->changed.notify_all();
        }
    }
};

template <typename PortName>
DefaultSerialPort<PortName>::DefaultSerialPort(const PortName& name,
                                               SerialPortListener& dataListener,
                                               SerialPortErrorListener& failureListener)
    : portName(name), listener(dataListener), errorListener(failureListener),
      impl(std::make_unique<Private>()) {
    impl->line = test::findLine(name);
    if (!impl->line) {
        throw RIDGE_EXCEPTION(std::string("File not found.\r\n"));
    }
    {
        const std::lock_guard lock(impl->line->mutex);
        ++impl->line->ports;
    }
    receiveThread =
        std::make_unique<std::thread>([this] { impl->deliverLoop(listener, errorListener); });
}

template <typename PortName>
DefaultSerialPort<PortName>::~DefaultSerialPort() {
    close();
}

template <typename PortName>
void DefaultSerialPort<PortName>::purge() {}

template <typename PortName>
void DefaultSerialPort<PortName>::ignoreErrors() {}

template <typename PortName>
void DefaultSerialPort<PortName>::close() {
    if (!impl) {
        return;
    }
    {
        const std::lock_guard lock(impl->line->mutex);
        impl->closing = true;
    }
    impl->line->changed.notify_all();
    receiveThread->join();
    receiveThread.reset();
    {
        const std::lock_guard lock(impl->line->mutex);
        --impl->line->ports;
        impl->line->toHost.clear();
    }
    impl->line->changed.notify_all();
    impl.reset();
}

template <typename PortName>
void DefaultSerialPort<PortName>::write(const std::uint8_t* bytes, std::uint32_t size) {
    const test::CodeScope scope(test::Code::surroundings);
    const std::lock_guard lock(impl->line->handlerMutex);
    if (impl->line->handler) {
        impl->line->handler(test::Bytes(bytes, bytes + size));
    }
}

template class DefaultSerialPort<std::string>;

} // namespace ridge
