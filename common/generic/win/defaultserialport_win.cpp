#include "defaultserialport.h"

#include "logmessage.h"
#include "mutex.h"
#include "printfformat.h"
#include "ridgeexception.h"
#include "scopedhandle.h"
#include "statuscode.h"
#include "systemerror.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <deque>
#include <exception>
#include <mutex>
#include <string>

namespace ridge {
namespace {

constexpr DWORD baudRate = CBR_115200;
constexpr DWORD writeTimeoutMs = 3000;
constexpr std::chrono::milliseconds bufferPollInterval{10};
constexpr std::size_t bufferCount = 6;
constexpr std::size_t bufferSize = 30000;

/// To be called before anything else can change the last error.
std::string lastErrorText() {
    return systemErrorText(GetLastError());
}

HANDLE createEvent(const char* purpose) {
    const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    if (event == nullptr) {
        throw RIDGE_EXCEPTION(status::protocol, "Error creating %s event. %s", purpose,
                              lastErrorText().c_str());
    }
    return event;
}

/// A wait for the port's event. The driver writes into the record until the wait has ended.
struct EventWait {
    OVERLAPPED overlapped{};
    DWORD mask = 0;
    bool pending = false;
};

OVERLAPPED overlappedWith(const ScopedHandle& event) {
    OVERLAPPED overlapped{};
    overlapped.hEvent = event.get();
    return overlapped;
}

} // namespace

template <typename PortName>
struct DefaultSerialPort<PortName>::Private {
    struct Buffer {
        std::atomic<bool> free{true};
        DWORD length = 0;
        std::array<std::uint8_t, bufferSize> data;
    };

    void configure();
    void receiveLoop(SerialPortErrorListener& errorListener);
    void waitForData(EventWait& wait, std::string& errorText);
    void readAvailable(std::string& errorText);
    Buffer* findFreeBuffer();
    void dispatchLoop(SerialPortListener& listener);
    void wakeDispatchThread();
    void write(const std::uint8_t* bytes, std::uint32_t size);
    void cancel(OVERLAPPED& overlapped);

    ScopedHandle handle;
    ScopedHandle stopEvent{createEvent("stop")};
    ScopedHandle readEvent{createEvent("read")};
    ScopedHandle receiveEvent{createEvent("receive")};
    ScopedHandle sendEvent{createEvent("send")};
    std::array<Buffer, bufferCount> buffers;
    std::atomic<bool> ignoringErrors{false};
    std::atomic<bool> stopping{false};
    std::unique_ptr<std::thread> dispatchThread;
    /// Guards `queue`.
    Mutex mutex;
    Condition bufferReady;
    /// Filled buffers that wait for the listener, oldest first.
    std::deque<Buffer*> queue;
};

template <typename PortName>
DefaultSerialPort<PortName>::DefaultSerialPort(const PortName& name,
                                               SerialPortListener& dataListener,
                                               SerialPortErrorListener& failureListener)
    : portName(name), listener(dataListener), errorListener(failureListener),
      impl(std::make_unique<Private>()) {
    RIDGE_LOG(logInformation, "Initializing device port %s", portName.c_str());
    impl->handle.reset(CreateFileA(portName.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                   OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr));
    if (!impl->handle.valid()) {
        throw RIDGE_EXCEPTION(lastErrorText());
    }
    try {
        impl->configure();
        impl->dispatchThread =
            std::make_unique<std::thread>([this] { impl->dispatchLoop(listener); });
        receiveThread = std::make_unique<std::thread>([this] { impl->receiveLoop(errorListener); });
    } catch (...) {
        close();
        throw;
    }
    RIDGE_LOG(logInformation, "Device port initialized");
}

template <typename PortName>
DefaultSerialPort<PortName>::~DefaultSerialPort() {
    close();
}

template <typename PortName>
void DefaultSerialPort<PortName>::purge() {
    if (impl) {
        PurgeComm(impl->handle.get(), PURGE_TXCLEAR | PURGE_RXCLEAR);
    }
}

template <typename PortName>
void DefaultSerialPort<PortName>::ignoreErrors() {
    if (impl) {
        impl->ignoringErrors = true;
    }
}

template <typename PortName>
void DefaultSerialPort<PortName>::write(const std::uint8_t* bytes, std::uint32_t size) {
    if (bytes == nullptr || size == 0) {
        return;
    }
    if (!impl) {
        throw RIDGE_EXCEPTION(status::serialPort, "Error writing to device port. %s",
                              systemErrorText(ERROR_INVALID_HANDLE).c_str());
    }
    impl->write(bytes, size);
}

template <typename PortName>
void DefaultSerialPort<PortName>::close() {
    RIDGE_LOG(logInformation, "Closing device port");
    if (!impl) {
        return;
    }
    impl->stopping = true;
    if (receiveThread) {
        if (SetEvent(impl->stopEvent.get()) == 0) {
            RIDGE_LOG(logError, "Error setting close event. %s", lastErrorText().c_str());
        } else {
            try {
                receiveThread->join();
            } catch (const std::exception& failure) {
                RIDGE_LOG(logError, "Error waiting for receive thread to stop. %s", failure.what());
            }
        }
        receiveThread.reset();
    }
    if (impl->dispatchThread) {
        impl->wakeDispatchThread();
        try {
            impl->dispatchThread->join();
        } catch (const std::exception& failure) {
            RIDGE_LOG(logError, "Error waiting for dispatch thread to stop. %s", failure.what());
        }
    }
    impl->handle.reset();
    impl.reset();
}

template <typename PortName>
void DefaultSerialPort<PortName>::Private::configure() {
    if (PurgeComm(handle.get(), PURGE_TXCLEAR | PURGE_RXCLEAR) == 0) {
        throw RIDGE_EXCEPTION(status::serialPort, "Error clearing port. %s",
                              lastErrorText().c_str());
    }
    DCB settings{};
    settings.DCBlength = sizeof(settings);
    if (GetCommState(handle.get(), &settings) == 0) {
        throw RIDGE_EXCEPTION(status::serialPort, "Error reading port settings. %s",
                              lastErrorText().c_str());
    }
    settings.BaudRate = baudRate;
    settings.ByteSize = 8;
    settings.Parity = NOPARITY;
    settings.StopBits = ONESTOPBIT;
    settings.fBinary = TRUE;
    settings.fParity = FALSE;
    settings.fOutxCtsFlow = FALSE;
    settings.fDtrControl = DTR_CONTROL_DISABLE;
    settings.fRtsControl = RTS_CONTROL_DISABLE;
    settings.fOutX = FALSE;
    settings.fInX = FALSE;
    settings.fErrorChar = FALSE;
    settings.fNull = FALSE;
    settings.fAbortOnError = FALSE;
    if (SetCommState(handle.get(), &settings) == 0) {
        throw RIDGE_EXCEPTION(status::serialPort, "Error updating port settings. %s",
                              lastErrorText().c_str());
    }
    // A read returns at once with what has arrived; writes are bounded by our own wait.
    COMMTIMEOUTS timeouts{};
    timeouts.ReadIntervalTimeout = MAXDWORD;
    if (SetCommTimeouts(handle.get(), &timeouts) == 0) {
        throw RIDGE_EXCEPTION(status::serialPort, "Error updating port timeouts. %s",
                              lastErrorText().c_str());
    }
    if (SetCommMask(handle.get(), EV_RXCHAR) == 0) {
        throw RIDGE_EXCEPTION(status::serialPort, "Error setting port mask. %s",
                              lastErrorText().c_str());
    }
}

template <typename PortName>
void DefaultSerialPort<PortName>::Private::receiveLoop(SerialPortErrorListener& errorListener) {
    RIDGE_LOG(logInformation, "Port receive thread started");
    std::string errorText;
    EventWait wait;
    try {
        while (!stopping) {
            waitForData(wait, errorText);
        }
    } catch (const std::exception& failure) {
        RIDGE_LOG(logError, "%s", failure.what());
        stopping = true;
        errorText = failure.what();
    }
    if (wait.pending) {
        RIDGE_LOG(logInformation, "Canceling outstanding notification event");
        cancel(wait.overlapped);
    }
    if (!errorText.empty()) {
        try {
            errorListener.onSerialPortError(errorText);
        } catch (const std::exception& failure) {
            RIDGE_LOG(logError, "Error reporting a failure of the port. %s", failure.what());
        }
    }
    // Nothing will come any more.
    wakeDispatchThread();
    RIDGE_LOG(logInformation, "Port receive thread stopped");
}

/// One wait for the port's event, and the reading of what it announces. The wait may still be
/// pending on return.
template <typename PortName>
void DefaultSerialPort<PortName>::Private::waitForData(EventWait& wait, std::string& errorText) {
    wait.overlapped = overlappedWith(receiveEvent);
    wait.pending = false;
    if (WaitCommEvent(handle.get(), &wait.mask, &wait.overlapped) != 0) {
        readAvailable(errorText);
        return;
    }
    const DWORD error = GetLastError();
    if (error != ERROR_IO_PENDING) {
        errorText = formatText("Failed to wait for port event. %s", systemErrorText(error).c_str());
        RIDGE_LOG(logError, "%s", errorText.c_str());
        stopping = true;
        return;
    }
    wait.pending = true;
    const std::array<HANDLE, 2> events{stopEvent.get(), receiveEvent.get()};
    const DWORD signalled =
        WaitForMultipleObjects(static_cast<DWORD>(events.size()), events.data(), FALSE, INFINITE);
    if (signalled == WAIT_OBJECT_0) {
        return;
    }
    if (signalled != WAIT_OBJECT_0 + 1) {
        errorText =
            formatText("Failed waiting for events when reading data. %s", lastErrorText().c_str());
        RIDGE_LOG(logError, "%s", errorText.c_str());
        stopping = true;
        return;
    }
    wait.pending = false;
    DWORD transferred = 0;
    if (GetOverlappedResult(handle.get(), &wait.overlapped, &transferred, FALSE) != 0) {
        readAvailable(errorText);
        return;
    }
    errorText = formatText("Failed to wait on port event. %s", lastErrorText().c_str());
    if (ignoringErrors) {
        RIDGE_LOG(logWarning, "Ignoring port error");
        RIDGE_LOG(logWarning, "%s", errorText.c_str());
        errorText.clear();
    } else {
        RIDGE_LOG(logError, "%s", errorText.c_str());
    }
    stopping = true;
}

template <typename PortName>
void DefaultSerialPort<PortName>::Private::readAvailable(std::string& errorText) {
    errorText.clear();
    while (!stopping) {
        Buffer* buffer = findFreeBuffer();
        if (buffer == nullptr) {
            RIDGE_LOG(logWarning, "No free buffers available!");
            std::this_thread::sleep_for(bufferPollInterval);
            continue;
        }
        OVERLAPPED overlapped = overlappedWith(readEvent);
        DWORD count = 0;
        if (ReadFile(handle.get(), buffer->data.data(), static_cast<DWORD>(buffer->data.size()),
                     &count, &overlapped) == 0) {
            // Under the port's time-outs a read completes at once: a pending one is a failure.
            const DWORD error = GetLastError();
            if (error == ERROR_IO_PENDING) {
                cancel(overlapped);
            }
            errorText =
                formatText("Failed to read data from port. %s", systemErrorText(error).c_str());
            RIDGE_LOG(logError, "%s", errorText.c_str());
            stopping = true;
            return;
        }
        if (count == 0) {
            return;
        }
        buffer->length = count;
        buffer->free = false;
        {
            const std::lock_guard lock(mutex);
            queue.push_back(buffer);
        }
        bufferReady.notify_one();
    }
}

template <typename PortName>
typename DefaultSerialPort<PortName>::Private::Buffer*
DefaultSerialPort<PortName>::Private::findFreeBuffer() {
    const auto found = std::find_if(buffers.begin(), buffers.end(),
                                    [](const Buffer& buffer) { return buffer.free.load(); });
    return found == buffers.end() ? nullptr : &*found;
}

template <typename PortName>
void DefaultSerialPort<PortName>::Private::dispatchLoop(SerialPortListener& listener) {
    RIDGE_LOG(logInformation, "Dispatch thread started");
    std::array<Buffer*, bufferCount> taken{};
    while (!stopping) {
        std::size_t takenCount = 0;
        {
            std::unique_lock lock(mutex);
            bufferReady.wait(lock, [this] { return stopping || !queue.empty(); });
            if (stopping) {
                break;
            }
            // The pool holds no more buffers than the array.
            while (!queue.empty()) {
                taken[takenCount++] = queue.front();
                queue.pop_front();
            }
        }
        for (std::size_t index = 0; index < takenCount && !stopping; ++index) {
            try {
                listener.onData(taken[index]->data.data(), taken[index]->length);
            } catch (const std::exception& failure) {
                RIDGE_LOG(logError, "Error handing on received data. %s", failure.what());
            }
            taken[index]->free = true;
        }
    }
    RIDGE_LOG(logInformation, "Dispatch thread stopped");
}

/// Lets the dispatch thread see that `stopping` is set.
template <typename PortName>
void DefaultSerialPort<PortName>::Private::wakeDispatchThread() {
    {
        // Without the lock the flag could change between the thread's check and its wait, and the
        // notification be missed.
        const std::lock_guard lock(mutex);
    }
    bufferReady.notify_one();
}

template <typename PortName>
void DefaultSerialPort<PortName>::Private::write(const std::uint8_t* bytes, std::uint32_t size) {
    OVERLAPPED overlapped = overlappedWith(sendEvent);
    if (WriteFile(handle.get(), bytes, size, nullptr, &overlapped) != 0) {
        return;
    }
    const DWORD writeError = GetLastError();
    if (writeError != ERROR_IO_PENDING) {
        throw RIDGE_EXCEPTION(status::serialPort, "Error writing to device port. %s",
                              systemErrorText(writeError).c_str());
    }
    const DWORD waited = WaitForSingleObject(sendEvent.get(), writeTimeoutMs);
    if (waited != WAIT_OBJECT_0) {
        const DWORD waitError = GetLastError();
        RIDGE_LOG(logInformation, "Canceling outstanding write");
        cancel(overlapped);
        if (waited == WAIT_TIMEOUT) {
            throw RIDGE_EXCEPTION(status::timeout, "Timeout writing to device port");
        }
        throw RIDGE_EXCEPTION(status::serialPort, "Error waiting for port write to complete. %s",
                              systemErrorText(waitError).c_str());
    }
    DWORD written = 0;
    if (GetOverlappedResult(handle.get(), &overlapped, &written, FALSE) == 0) {
        throw RIDGE_EXCEPTION(status::serialPort, "Error writing to device port. %s",
                              lastErrorText().c_str());
    }
    if (written != size) {
        // The requested count comes first.
        throw RIDGE_EXCEPTION(status::serialPort, "Error writing %d/%d to device port. %s",
                              static_cast<int>(size), static_cast<int>(written),
                              lastErrorText().c_str());
    }
}

/// The buffer and the overlapped record of a pending operation must not go before it has ended.
template <typename PortName>
void DefaultSerialPort<PortName>::Private::cancel(OVERLAPPED& overlapped) {
    if (!handle.valid()) {
        return;
    }
    if (CancelIo(handle.get()) == 0) {
        const DWORD error = GetLastError();
        if (error != ERROR_NOT_FOUND) {
            RIDGE_LOG(logError, "Failed to cancel outstanding operation. %s",
                      systemErrorText(error).c_str());
        }
    }
    DWORD transferred = 0;
    GetOverlappedResult(handle.get(), &overlapped, &transferred, TRUE);
}

template class DefaultSerialPort<std::string>;

} // namespace ridge
