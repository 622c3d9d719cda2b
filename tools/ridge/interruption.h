#pragma once

#include <functional>
#include <mutex>

namespace ridge::tool {

/// The user's wish to end the program, from whichever thread the system reports it on.
class Interruption {
public:
    /// Lets something be called on the reporting thread, or at once when that is past.
    class Subscription {
    public:
        Subscription(Interruption& interruption, std::function<void()> wake);
        ~Subscription();

        Subscription(const Subscription&) = delete;
        Subscription& operator=(const Subscription&) = delete;

    private:
        Interruption& interruption;
    };

    void request();
    [[nodiscard]] bool requested() const;
    /// Throws Interrupted.
    void throwIfRequested() const;

private:
    mutable std::mutex mutex;
    bool wanted = false;
    std::function<void()> subscriber;
};

} // namespace ridge::tool
