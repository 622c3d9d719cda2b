// Streams images until Enter is pressed.

#include "ridge-sdk.hpp"

#include <exception>
#include <future>
#include <iostream>
#include <stdexcept>

namespace {

void run() {
    const ridge::DeviceList devices = ridge::queryDevices();
    if (devices.empty()) {
        throw std::runtime_error("no scanner is attached");
    }
    ridge::Scanner scanner;
    scanner.connect(devices.front());

    // The callback runs on a thread of the library. Nobody reads the number before the stream has
    // ended, so it needs no lock.
    int images = 0;
    const auto show = [&images](const ridge::Image& image) {
        ++images;
        std::cout << "image " << images << ": " << image.width << " x " << image.height << " pixels"
                  << std::endl;
    };

    // From here on the scanner belongs to the streaming thread. What the main thread keeps is the
    // source of the stop token, which any thread may use.
    const ridge::StopSource stop;
    std::future<void> streaming =
        std::async(std::launch::async, [&] { scanner.stream(show, stop.token()); });
    std::cin.get();
    stop.requestStop();
    // Waits for the stream's end, and throws its failure if it had one.
    streaming.get();
    std::cout << "stopped after " << images << " images" << std::endl;
}

} // namespace

int main() {
    try {
        run();
        return 0;
    } catch (const std::exception& error) {
        std::cerr << error.what() << std::endl;
        return 1;
    }
}
