#pragma once

#include "attachment.h"
#include "ridge-sdk.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>

namespace ridge::test {

/// What was thrown.
struct Failure {
    std::optional<Status> status;
    std::string text;

    bool operator==(const Failure&) const = default;
};

inline void PrintTo(const Failure& failure, std::ostream* stream) {
    *stream << (failure.status ? std::to_string(static_cast<int>(*failure.status)) : "no status")
            << " \"" << failure.text << '"';
}

template <typename Call>
Failure failureOf(const Call& call) {
    try {
        call();
    } catch (const Error& error) {
        return {error.status(), error.what()};
    } catch (const std::exception& error) {
        return {std::nullopt, error.what()};
    }
    return {std::nullopt, "nothing was thrown"};
}

inline const Failure wasStopped{std::nullopt, "The operation was stopped."};
inline const Failure ownScanner{std::nullopt, "A callback must not use its own scanner."};
inline const Failure busy{Status::protocolError,
                          "Invalid state - command execution or capture is active!"};

/// The future's result; a failure of the test if it does not come within a minute.
template <typename Result>
Result resultOf(std::future<Result>& future) {
    if (future.wait_for(std::chrono::minutes(1)) != std::future_status::ready) {
        throw std::runtime_error("waited in vain for a future");
    }
    return future.get();
}

template <typename Result>
[[nodiscard]] bool isReady(const std::future<Result>& future) {
    return future.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

/// A scanner that is connected to a simulated one of its own.
class HostedScanner : public testing::Test {
protected:
    void connect(const AttachmentOptions& options = {}) {
        attachment = std::make_unique<Attachment>(options);
        scanner = std::make_unique<Scanner>();
        scanner->connect(attachment->portName());
    }

    /// It can do what a fresh one can.
    void expectUsable() { EXPECT_EQ(scanner->capture().pixels.size(), 120000U); }

    std::unique_ptr<Attachment> attachment;
    std::unique_ptr<Scanner> scanner;
};

} // namespace ridge::test
