// Captures a fingerprint while the main thread goes on, and gives up at a deadline of its own.

#include "ridge-sdk.hpp"

#include <chrono>
#include <exception>
#include <future>
#include <iostream>
#include <stdexcept>
#include <string>

namespace {

/// Stands for what a program does between two looks at the future, such as drawing its window.
void doSomethingElse() {}

void run(std::chrono::milliseconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    const ridge::DeviceList devices = ridge::queryDevices();
    if (devices.empty()) {
        throw std::runtime_error("no scanner is attached");
    }
    ridge::Scanner scanner;
    scanner.connect(devices.front());

    std::future<ridge::CapturedImage> future = scanner.captureAsync();
    std::cout << "waiting for a finger" << std::endl;
    while (future.wait_for(std::chrono::milliseconds(20)) != std::future_status::ready) {
        doSomethingElse();
        if (std::chrono::steady_clock::now() > deadline) {
            // Waits for the end of the capture; the future is ready then. Should the image have
            // come at this very moment, it is taken.
            scanner.stop();
        }
    }
    const ridge::CapturedImage image = future.get();
    std::cout << image.width << " x " << image.height << " pixels" << std::endl;
}

} // namespace

int main(int argumentCount, char** arguments) {
    try {
        run(std::chrono::milliseconds(argumentCount > 1 ? std::stoi(arguments[1]) : 10000));
        return 0;
    } catch (const ridge::Stopped&) {
        std::cout << "cancelled at the deadline" << std::endl;
        return 2;
    } catch (const std::exception& error) {
        std::cerr << error.what() << std::endl;
        return 1;
    }
}
