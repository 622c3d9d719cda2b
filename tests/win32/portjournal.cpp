#include "portjournal.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include <windows.h>

namespace ridge::test {

void PortJournal::add(Kind kind, std::string text) {
    {
        const std::lock_guard lock(mutex);
        all.push_back({kind, GetCurrentThreadId(), std::move(text)});
    }
    grown.notify_all();
}

void PortJournal::await(const std::string& text, int count) {
    std::unique_lock lock(mutex);
    grown.wait(lock, [&] {
        return std::count_if(all.begin(), all.end(),
                             [&](const Entry& entry) { return entry.text == text; }) >= count;
    });
}

std::vector<std::string> PortJournal::entries() const {
    return textsOf([](const Entry&) { return true; });
}

std::vector<std::string> PortJournal::entries(Kind kind) const {
    return textsOf([=](const Entry& entry) { return entry.kind == kind; });
}

std::vector<std::string> PortJournal::entries(std::uint32_t thread) const {
    return textsOf([=](const Entry& entry) { return entry.thread == thread; });
}

std::vector<std::string> PortJournal::entries(Kind kind, std::uint32_t thread) const {
    return textsOf(
        [=](const Entry& entry) { return entry.kind == kind && entry.thread == thread; });
}

std::uint32_t PortJournal::threadOf(const std::string& text) const {
    const std::lock_guard lock(mutex);
    const auto found = std::find_if(all.begin(), all.end(),
                                    [&](const Entry& entry) { return entry.text == text; });
    return found == all.end() ? 0 : found->thread;
}

template <typename Predicate>
std::vector<std::string> PortJournal::textsOf(Predicate predicate) const {
    const std::lock_guard lock(mutex);
    std::vector<std::string> texts;
    for (const Entry& entry : all) {
        if (predicate(entry)) {
            texts.push_back(entry.text);
        }
    }
    return texts;
}

} // namespace ridge::test
