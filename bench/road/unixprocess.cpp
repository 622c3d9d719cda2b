#include "unixprocess.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <vector>

#include <windows.h>

namespace ridge::bench {
namespace {

constexpr std::string_view processes = "Z:\\proc\\";
constexpr std::string_view programName = "ridge-road-bench.exe";

/// Empty when there is no such file, as of a process or thread that has ended.
std::string readIfThere(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string readFile(const std::string& name) {
    std::string text = readIfThere(name);
    if (text.empty()) {
        throw std::runtime_error("cannot read " + name);
    }
    return text;
}

bool isNumber(const std::string& text) {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// The names of the folder's entries that are numbers.
std::vector<std::string> numberedEntries(const std::string& folder) {
    std::vector<std::string> entries;
    WIN32_FIND_DATAA data{};
    const HANDLE search = FindFirstFileA((folder + "*").c_str(), &data);
    if (search == INVALID_HANDLE_VALUE) {
        throw std::runtime_error("cannot list " + folder);
    }
    do {
        if (isNumber(data.cFileName)) {
            entries.emplace_back(data.cFileName);
        }
    } while (FindNextFileA(search, &data) != 0);
    FindClose(search);
    return entries;
}

/// The number behind a field's name, such as "Threads:". Throws when there is none.
std::uint64_t field(const std::string& text, const std::string& name) {
    // At a line's beginning: one field's name may end with another one's.
    const std::size_t place = text.find('\n' + name);
    if (place == std::string::npos) {
        throw std::runtime_error("the system beneath does not count " + name);
    }
    return std::stoull(text.substr(place + 1 + name.size()));
}

/// The program itself, and neither who started it nor a child of its own, which has arguments that
/// differ.
bool isThisProcess(const std::string& folder) {
    const std::string commandLine = readIfThere(folder + "cmdline");
    const std::size_t end = commandLine.find('\0');
    if (end == std::string::npos ||
        !std::string_view(commandLine).substr(0, end).ends_with(programName)) {
        return false;
    }
    const std::string_view rest = std::string_view(commandLine).substr(end + 1);
    return !rest.starts_with("scanners");
}

} // namespace

UnixProcess::UnixProcess() {
    for (const std::string& number : numberedEntries(std::string(processes))) {
        const std::string candidate = std::string(processes) + number + "\\";
        if (isThisProcess(candidate)) {
            if (!folder.empty()) {
                throw std::runtime_error("another benchmark is running");
            }
            folder = candidate;
        }
    }
    if (folder.empty()) {
        throw std::runtime_error("the system beneath does not show this process");
    }
}

std::chrono::milliseconds UnixProcess::processorTime() const {
    const std::string text = readFile(folder + "stat");
    // The name in brackets may hold spaces; user and system time are the 12th and 13th behind it.
    std::istringstream fields(text.substr(text.rfind(')') + 1));
    std::string skipped;
    constexpr int before = 11;
    for (int index = 0; index < before; ++index) {
        fields >> skipped;
    }
    std::int64_t user = 0;
    std::int64_t system = 0;
    fields >> user >> system;
    if (!fields) {
        throw std::runtime_error("the system beneath does not count processor time");
    }
    constexpr std::chrono::milliseconds tick{10};
    return (user + system) * tick;
}

std::map<std::string, ThreadUse> UnixProcess::threads() const {
    std::map<std::string, ThreadUse> result;
    for (const std::string& number : numberedEntries(folder + "task\\")) {
        const std::string thread = folder + "task\\" + number + "\\";
        const std::string status = readIfThere(thread + "status");
        if (status.empty()) {
            // It has ended.
            continue;
        }
        std::istringstream schedule(readFile(thread + "schedstat"));
        std::chrono::nanoseconds::rep onProcessor = 0;
        if (!(schedule >> onProcessor)) {
            throw std::runtime_error("the system beneath does not count a thread's time");
        }
        result[number] = {field(status, "voluntary_ctxt_switches:") +
                              field(status, "nonvoluntary_ctxt_switches:"),
                          std::chrono::nanoseconds(onProcessor)};
    }
    return result;
}

} // namespace ridge::bench
