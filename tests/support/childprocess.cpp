#include "childprocess.h"

#include <array>
#include <system_error>
#include <utility>

namespace ridge::test {
namespace {

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

std::wstring quoted(const std::wstring& argument) {
    return L"\"" + argument + L"\"";
}

} // namespace

std::filesystem::path programFolder() {
    std::array<wchar_t, MAX_PATH> path{};
    GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    return std::filesystem::path(path.data()).parent_path();
}

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& arguments,
                           std::function<void(std::string)> onLine) {
    std::wstring commandLine = quoted((programFolder() / program).wstring());
    for (const std::string& argument : arguments) {
        commandLine += L" " + quoted(std::wstring(argument.begin(), argument.end()));
    }
    Pipe toProgram = createPipe();
    Pipe fromProgram = createPipe();
    input = std::move(toProgram.writing);
    output = std::move(fromProgram.reading);
    keepFromChildren(input);
    keepFromChildren(output);

    simulator::StandardHandles handles;
    handles.input = toProgram.reading.get();
    handles.output = fromProgram.writing.get();
    handles.error = fromProgram.writing.get();
    process = std::make_unique<simulator::MendedProcess>(
        simulator::startMended(std::move(commandLine), handles));
    reader = std::thread([this, listener = std::move(onLine)] { readOutput(listener); });
}

ChildProcess::~ChildProcess() {
    endInput();
    wait();
}

void ChildProcess::writeLine(const std::string& line) {
    const std::string text = line + "\n";
    DWORD written = 0;
    if (WriteFile(input.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr) ==
        0) {
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category(),
                                "writing to a program");
    }
}

unsigned long ChildProcess::wait() {
    const unsigned long status = process->wait();
    if (reader.joinable()) {
        reader.join();
    }
    return status;
}

void ChildProcess::readOutput(const std::function<void(std::string)>& onLine) {
    std::array<char, 512> bytes{};
    std::string line;
    DWORD count = 0;
    while (ReadFile(output.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count,
                    nullptr) != 0 &&
           count != 0) {
        for (DWORD index = 0; index < count; ++index) {
            if (bytes[index] == '\n') {
                onLine(std::exchange(line, {}));
            } else if (bytes[index] != '\r') {
                line += bytes[index];
            }
        }
    }
    if (!line.empty()) {
        onLine(std::move(line));
    }
}

ProgramResult runProgram(const std::string& program, const std::vector<std::string>& arguments) {
    ProgramResult result;
    ChildProcess process(program, arguments,
                         [&result](const std::string& line) { result.output += line + "\n"; });
    process.endInput();
    result.exitStatus = process.wait();
    return result;
}

} // namespace ridge::test
