// Captures a fingerprint from the first scanner that is attached and saves it as a picture.

#include "ridge-sdk.hpp"

#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

/// The simplest of all picture formats for 8-bit grey: a line of text, and the pixels.
void savePgm(const ridge::Image& image, const std::string& path) {
    std::ofstream file(path, std::ios::binary);
    file << "P5 " << image.width << ' ' << image.height << " 255\n";
    for (const std::uint8_t pixel : image.pixels) {
        file.put(static_cast<char>(pixel));
    }
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + path);
    }
}

void run(const std::string& path) {
    const ridge::DeviceList devices = ridge::queryDevices();
    if (devices.empty()) {
        throw std::runtime_error("no scanner is attached");
    }
    ridge::Scanner scanner;
    scanner.connect(devices.front());

    // What is left out has a default; see the header for the others.
    ridge::CaptureParameters parameters;
    parameters.fingerPosition = 1;
    parameters.timeout = std::chrono::seconds(15);
    std::cout << "put a finger on the scanner at " << devices.front().portName() << std::endl;
    const ridge::CapturedImage image = scanner.capture(parameters);

    savePgm(image, path);
    std::cout << path << ": " << image.width << " x " << image.height << " pixels" << std::endl;
} // The scanner disconnects when it goes.

} // namespace

int main(int argumentCount, char** arguments) {
    try {
        run(argumentCount > 1 ? arguments[1] : "finger.pgm");
        return 0;
    } catch (const ridge::Error& error) {
        // A failure of the library has a status that a program can act upon. The text tells this
        // one from a port that takes no bytes.
        const bool nobodyCame = error.status() == ridge::Status::timeout &&
                                error.what() == std::string_view("Capture timeout");
        std::cerr << (nobodyCame ? "no finger came" : error.what()) << std::endl;
    } catch (const std::exception& error) {
        std::cerr << error.what() << std::endl;
    }
    return 1;
}
