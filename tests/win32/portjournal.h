#pragma once

#include "mutex.h"

#include <cstdint>
#include <string>
#include <vector>

namespace ridge::test {

/// Everything that a port does to its surroundings, in order: its calls to the system, its log
/// lines ("I Closing device port") and its reports to the error listener.
class PortJournal {
public:
    enum class Kind { call, log, report };

    PortJournal() = default;
    PortJournal(const PortJournal&) = delete;
    PortJournal& operator=(const PortJournal&) = delete;

    void add(Kind kind, std::string text);
    /// Waits until `text` has been entered `count` times.
    void await(const std::string& text, int count = 1);

    [[nodiscard]] std::vector<std::string> entries() const;
    [[nodiscard]] std::vector<std::string> entries(Kind kind) const;
    /// What one thread has done.
    [[nodiscard]] std::vector<std::string> entries(std::uint32_t thread) const;
    [[nodiscard]] std::vector<std::string> entries(Kind kind, std::uint32_t thread) const;
    /// The thread that made the first such entry, or 0.
    [[nodiscard]] std::uint32_t threadOf(const std::string& text) const;

private:
    struct Entry {
        Kind kind;
        std::uint32_t thread;
        std::string text;
    };

    template <typename Predicate>
    std::vector<std::string> textsOf(Predicate predicate) const;

    mutable Mutex mutex;
    Condition grown;
    std::vector<Entry> all;
};

} // namespace ridge::test
