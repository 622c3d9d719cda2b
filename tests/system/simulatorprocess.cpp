#include "simulatorprocess.h"

#include "virtualport.h"

#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace ridge::test {
namespace {

constexpr std::chrono::minutes patience{1};
constexpr std::uint32_t firstPort = 20;

/// Numbers are not used twice, so that no test meets another one's port.
std::uint32_t nextPortNumber() {
    static std::atomic<std::uint32_t> next{firstPort};
    return next++;
}

struct Pipe {
    simulator::ScopedHandle reading;
    simulator::ScopedHandle writing;
};

Pipe createPipe() {
    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE reading = nullptr;
    HANDLE writing = nullptr;
    if (CreatePipe(&reading, &writing, &inheritable, 0) == 0) {
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category(),
                                "creating a pipe");
    }
    return {simulator::ScopedHandle(reading), simulator::ScopedHandle(writing)};
}

void keepFromChildren(const simulator::ScopedHandle& handle) {
    SetHandleInformation(handle.get(), HANDLE_FLAG_INHERIT, 0);
}

std::filesystem::path programFolder() {
    std::array<wchar_t, MAX_PATH> path{};
    GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    return std::filesystem::path(path.data()).parent_path();
}

std::wstring quoted(const std::wstring& argument) {
    return L"\"" + argument + L"\"";
}

std::wstring commandLine(std::uint32_t number, const std::vector<std::string>& options) {
    std::wstring line = quoted((programFolder() / "ridge-scanner.exe").wstring()) +
                        L" --end-with-input --virtual COM" + std::to_wstring(number);
    for (const std::string& option : options) {
        line += L" " + quoted(std::wstring(option.begin(), option.end()));
    }
    return line;
}

} // namespace

SimulatorProcess::SimulatorProcess(const std::vector<std::string>& options)
    : number(nextPortNumber()) {
    Pipe toScanner = createPipe();
    Pipe fromScanner = createPipe();
    input = std::move(toScanner.writing);
    output = std::move(fromScanner.reading);
    keepFromChildren(input);
    keepFromChildren(output);

    simulator::StandardHandles handles;
    handles.input = toScanner.reading.get();
    handles.output = fromScanner.writing.get();
    process = std::make_unique<simulator::MendedProcess>(
        simulator::startMended(commandLine(number, options), handles));
    toScanner.reading.reset();
    fromScanner.writing.reset();

    reader = std::thread([this] { readReports(); });
    try {
        waitForReport("ready");
        control = std::make_unique<simulator::PortControl>(number);
    } catch (...) {
        input.reset();
        reader.join();
        throw;
    }
}

SimulatorProcess::~SimulatorProcess() {
    // The scanner ends when its standard input does.
    input.reset();
    process->wait();
    reader.join();
}

std::string SimulatorProcess::portName() const {
    return R"(\\.\COM)" + std::to_string(number);
}

std::string SimulatorProcess::waitForReport(const std::string& beginning) {
    std::string passedOver;
    while (true) {
        std::unique_lock lock(mutex);
        if (!changed.wait_for(lock, patience, [this] { return ended || !reports.empty(); }) ||
            reports.empty()) {
            throw std::runtime_error("the simulated scanner did not report \"" + beginning +
                                     "\" but:\n" + passedOver);
        }
        const std::string report = std::move(reports.front());
        reports.pop_front();
        if (report.rfind(beginning, 0) == 0) {
            return report;
        }
        passedOver += report + "\n";
    }
}

void SimulatorProcess::readReports() {
    std::array<char, 512> bytes{};
    std::string unfinished;
    DWORD count = 0;
    while (ReadFile(output.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count,
                    nullptr) != 0 &&
           count != 0) {
        for (DWORD index = 0; index < count; ++index) {
            if (bytes[index] == '\n') {
                const std::lock_guard lock(mutex);
                reports.push_back(std::exchange(unfinished, {}));
                changed.notify_all();
            } else if (bytes[index] != '\r') {
                unfinished += bytes[index];
            }
        }
    }
    const std::lock_guard lock(mutex);
    ended = true;
    changed.notify_all();
}

} // namespace ridge::test
