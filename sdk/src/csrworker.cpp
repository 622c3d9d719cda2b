// What the worker that creates a signing request does.

#include "ridgedevice.h"

#include "logmessage.h"

#include <mutex>
#include <utility>

namespace ridge {

void RidgeDevice::createCsr(const CsrName& name, std::shared_ptr<CreateCsrListener> listener) {
    checkReady();
    CreateCsrListener& listening = *listener;
    startWorker(WorkerKind::csr, "Create CSR", listening,
                [this, name, owned = std::move(listener)] { createCsrBody(name, *owned); });
}

void RidgeDevice::createCsrBody(const CsrName& name, CreateCsrListener& listener) {
    RIDGE_LOG(logInformation, "Creating CSR");
    const std::vector<std::uint8_t> request = askForCsr(name);
    RIDGE_LOG(logInformation, "CSR created - size %d", static_cast<int>(request.size()));
    listener.onCsrCreated(request);
}

std::vector<std::uint8_t> RidgeDevice::askForCsr(const CsrName& name) {
    const auto markAnswered = [this] {
        const std::lock_guard lock(*stateMutex);
        csrAnswered = true;
    };
    try {
        std::vector<std::uint8_t> request = commands->createCsr(name);
        markAnswered();
        return request;
    } catch (...) {
        markAnswered();
        throw;
    }
}

bool RidgeDevice::isCsrBeingCreated() const {
    const std::lock_guard lock(*stateMutex);
    return worker && workerKind == WorkerKind::csr && !csrAnswered;
}

void RidgeDevice::waitForCsrDelivery() {
    std::unique_lock lock(*stateMutex);
    if (worker && csrAnswered && worker->get_id() != std::this_thread::get_id()) {
        workerDone->wait(lock, [this] { return !worker; });
    }
}

} // namespace ridge
