#include "mailbox.h"

#include <chrono>
#include <utility>

namespace ridge::simulator {

void Mailbox::putBytes(const std::uint8_t* bytes, std::size_t size) {
    {
        const std::lock_guard lock(mutex);
        waiting.bytes.insert(waiting.bytes.end(), bytes, bytes + size);
    }
    arrived.notify_one();
}

void Mailbox::putCommand(std::string command) {
    {
        const std::lock_guard lock(mutex);
        waiting.commands.push_back(std::move(command));
    }
    arrived.notify_one();
}

void Mailbox::end() {
    {
        const std::lock_guard lock(mutex);
        waiting.ended = true;
    }
    arrived.notify_one();
}

Mail Mailbox::takeUntil(std::optional<Time> deadline) {
    std::unique_lock lock(mutex);
    const auto hasMail = [this] {
        return waiting.ended || !waiting.bytes.empty() || !waiting.commands.empty();
    };
    if (deadline) {
        using Clock = std::chrono::steady_clock;
        const Clock::time_point moment(std::chrono::duration_cast<Clock::duration>(*deadline));
        arrived.wait_until(lock, moment, hasMail);
    } else {
        arrived.wait(lock, hasMail);
    }
    Mail mail = std::exchange(waiting, {});
    waiting.ended = mail.ended;
    return mail;
}

Time monotonicNow() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

} // namespace ridge::simulator
