#pragma once

#include "capturelistener.h"
#include "createcsrlistener.h"
#include "deviceinfo.h"
#include "factory.h"
#include "mutex.h"
#include "packethandler.h"
#include "ridgecommands.h"
#include "serialport.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace ridge {

class BlockAssembler;

/// One open session with one scanner. It runs one thing at a time: a command on the caller's
/// thread, or a long operation on a worker thread of its own, which reports through a listener.
///
/// Capture listeners are borrowed and must outlive the worker that uses them.
class RidgeDevice final : public SerialPortErrorListener {
public:
    /// Opens the port and reads the scanner's information and settings. Throws what the factory or
    /// the commands throw; nothing stays open then. The factory is not kept.
    RidgeDevice(const std::string& portName, Factory<std::string>& factory);
    ~RidgeDevice() override;

    RidgeDevice(const RidgeDevice&) = delete;
    RidgeDevice& operator=(const RidgeDevice&) = delete;

    /// Closes the port; the session stays, not connected. `stopWorker` first stops a capture or
    /// stream and waits for its end; without it the caller is the worker.
    void disconnect(bool stopWorker);

    /// Ends the session for good, as the destructor does: stops a running capture or stream, waits
    /// for its end and closes the port. Waits for a signing request's callback that is under way,
    /// unless it is called from that callback, whose worker the object must outlive then. While the
    /// scanner is still creating the request, the session must stay: ends the process.
    void close();

    [[nodiscard]] bool isConnected() const;
    /// A capture, host-assisted capture or stream is running.
    [[nodiscard]] bool isCaptureActive() const;

    /// As read last, without device traffic; an empty record once released. A record that was
    /// returned keeps its texts, released or not, until an operation reads the information anew. To
    /// be used on the thread that runs the operations.
    [[nodiscard]] const DeviceInfo& getDeviceInfo() const;
    /// As read when the session opened; setting them does not change it.
    [[nodiscard]] const DeviceSettings& getSettings() const;

    /// Throws unless a command may run now: 11 not connected, 6 a worker exists, 5 the port failed.
    void checkReady() const;

    [[nodiscard]] bool hasSerialError() const;
    [[nodiscard]] std::string getSerialError() const;

    /// Writes the settings. The scanner's own flag is carried along.
    void setSettings(std::uint8_t rotation, bool option);

    /// Each changes what the scanner holds and reads its information anew. `key` points at 32
    /// bytes.
    void setKey(const std::uint8_t* key);
    void clearKey();
    void setCertificate(const std::uint8_t* certificate, std::int32_t size);
    void clearCertificate();
    /// Empty when the scanner has none.
    [[nodiscard]] std::vector<std::uint8_t> getCertificate();

    /// Each starts a worker and returns. `block` points at 256 bytes, or is null.
    void startCapture(std::uint8_t mode, std::uint32_t timeoutMs, std::uint32_t parameter,
                      const std::uint8_t* block, CaptureListener& listener);
    void startHostAssistedCapture(std::uint8_t mode, std::uint32_t parameter,
                                  const std::uint8_t* block, CaptureListener& listener);
    void startStream(const std::uint8_t* block, CaptureListener& listener);

    /// As above, with a listener that is shared: another one may take its place at the owner's
    /// while the worker runs. Nothing stops this worker.
    void createCsr(const CsrName& name, std::shared_ptr<CreateCsrListener> listener);

    /// The host's verdict on the last image of a host-assisted capture: 0 rejects it, any other
    /// value but 2 accepts it; 2 means that the verdict is still awaited.
    void setHostAssistedCaptureResult(std::uint8_t verdict);

    /// Stops a capture or stream and waits for its end; not from inside a listener's call, which
    /// would wait for itself. Any other worker goes on.
    void stopCapture();

private:
    /// No verdict has been given yet.
    static constexpr std::uint8_t awaitedVerdict = 2;

    enum class WorkerKind : std::uint32_t { stoppable = 0, csr = 1, none = 2 };

    /// When a capture began and how long the scanner may take.
    struct CaptureTimer {
        std::chrono::nanoseconds start;
        std::uint32_t timeoutMs;
    };

    void onSerialPortError(const std::string& text) override;

    void startWorker(WorkerKind kind, const char* name, BaseListener& listener,
                     std::function<void()> body);
    void runWorker(const char* name, BaseListener& listener, const std::function<void()>& body,
                   const std::shared_ptr<Mutex>& slotMutex,
                   const std::shared_ptr<Condition>& done) noexcept;
    static void runReporting(const char* name, BaseListener& listener,
                             const std::function<void()>& body);

    void reloadDeviceInfo();
    [[nodiscard]] bool isCsrBeingCreated() const;
    void waitForCsrDelivery();

    void createCsrBody(const CsrName& name, CreateCsrListener& listener);
    [[nodiscard]] std::vector<std::uint8_t> askForCsr(const CsrName& name);
    void captureLoop(std::uint8_t mode, std::uint32_t timeoutMs, std::uint32_t parameter,
                     const std::vector<std::uint8_t>& block, CaptureListener& listener);
    void streamLoop(bool hostAssisted, std::uint8_t mode, std::uint32_t parameter,
                    const std::vector<std::uint8_t>& block, CaptureListener& listener);
    bool pollCaptureData(BlockAssembler& captured, const CaptureTimer* timer,
                         CaptureListener& listener);
    bool pollStreamData(BlockAssembler& streamed, bool hostAssisted, CaptureListener& listener);
    void deliverStreamImage(const std::vector<std::uint8_t>& block, bool hostAssisted,
                            CaptureListener& listener);
    void endCapture(bool blockUnderWay);
    void exitOnSerialError(CaptureListener& listener);
    [[nodiscard]] std::uint32_t hostVerdict() const;

    /// Its presence is what "connected" means.
    std::unique_ptr<PacketHandler> packetHandler;
    std::unique_ptr<RidgeCommands> commands;
    DeviceInfo deviceInfo;
    DeviceSettings settings;
    std::atomic<bool> stopRequested{false};
    /// Guards the pointers `packetHandler`, `commands` and `worker`, the replacement of
    /// `deviceInfo`, `workerKind` and `hacVerdict`. A command runs without it: the guard and the
    /// single worker slot keep the pointers in place. The worker shares it, and `workerDone`:
    /// whoever waits for its end may destroy the session before its unlocking and its notification
    /// have returned.
    std::shared_ptr<Mutex> stateMutex;
    /// Guards `serialError`. Never held together with `stateMutex`.
    mutable Mutex errorMutex;
    /// The last failure of the port; empty means none.
    std::string serialError;
    /// The host's verdict on the last image of a host-assisted capture.
    std::uint32_t hacVerdict = awaitedVerdict;
    /// What hides the images of the running host-assisted capture; the worker's alone.
    CaptureMask hacMask{};
    std::unique_ptr<std::thread> worker;
    /// Notified when a worker has ended.
    std::shared_ptr<Condition> workerDone;
    WorkerKind workerKind = WorkerKind::none;
    /// The running worker has had its answer to CREATE CSR, or none, and uses nothing of the
    /// session but its slot any more. Guarded by `stateMutex`.
    bool csrAnswered = false;
};

} // namespace ridge
