#include "options.h"

#include "faults.h"
#include "imagefile.h"
#include "scanneridentifiers.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace ridge::simulator {
namespace {

const std::map<std::string, FingerprintPattern> patterns{{"arch", FingerprintPattern::arch},
                                                         {"loop", FingerprintPattern::loop},
                                                         {"whorl", FingerprintPattern::whorl}};

std::string faultHelp() {
    std::ostringstream text;
    text << "Faults: TARGET[/data|/block][#N]: FAULT[:ARGUMENTS] [once|always]\n"
            "  TARGET is a command's name, its code such as 0x11, or any. #N is the first\n"
            "  occurrence that is struck. For example:\n"
            "    --fault \"GET CAPTURE DATA/data#2: wrong-checksum once\"\n";
    for (const FaultName& fault : faultNames()) {
        text << "  " << fault.name << fault.arguments << "\n      " << fault.description << '\n';
    }
    return text.str();
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    if (!file) {
        throw std::runtime_error("reading " + path + " failed");
    }
    return content.str();
}

/// Nothing unless all of the text is a number.
std::optional<std::uint32_t> wholeNumber(std::string_view text) {
    std::uint32_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

/// "COM7" or "7".
std::uint32_t portNumber(std::string_view text) {
    if (text.starts_with("COM")) {
        text.remove_prefix(3);
    }
    constexpr std::uint32_t highest = 255;
    const std::optional<std::uint32_t> number = wholeNumber(text);
    if (!number || *number < 1 || *number > highest) {
        throw CLI::ValidationError("--virtual", "takes COM1 to COM255");
    }
    return *number;
}

std::optional<Time> fingerDelay(const std::string& text) {
    if (text == "never") {
        return std::nullopt;
    }
    const std::optional<std::uint32_t> milliseconds = wholeNumber(text);
    if (!milliseconds) {
        throw CLI::ValidationError("--finger-delay", "takes milliseconds or never");
    }
    return std::chrono::milliseconds(*milliseconds);
}

std::string defaultSerialNumber(std::uint32_t virtualPort) {
    constexpr std::size_t digits = 6;
    const std::string number = std::to_string(virtualPort);
    return "RS-" + std::string(digits - number.size(), '0') + number;
}

/// The system puts serial numbers into identifiers, where these characters have a meaning.
void checkSerialNumber(const std::string& serialNumber) {
    const auto allowed = [](char character) {
        return character > ' ' && character < '\x7F' && character != '\\' && character != '&' &&
               character != ',';
    };
    constexpr std::size_t longest = 100;
    if (serialNumber.empty() || serialNumber.size() > longest ||
        !std::all_of(serialNumber.begin(), serialNumber.end(), allowed)) {
        throw CLI::ValidationError("--serial",
                                   "takes 1 to 100 visible characters but none of \\ & ,");
    }
}

void addUsbOptions(CLI::App& app, UsbIdentity& usb) {
    auto* group = app.add_option_group("usb", "What the system lists at a virtual port");
    group->add_option("--vendor-id", usb.vendorId, "USB vendor identifier");
    group->add_option("--product-id", usb.productId, "USB product identifier");
    group->add_option("--description", usb.description, "Description")->capture_default_str();
    group->add_option("--manufacturer", usb.manufacturer, "Manufacturer")->capture_default_str();
}

} // namespace

ParsedOptions parseOptions(int argumentCount, const char* const* arguments) {
    ScannerOptions options;
    options.usb = {scannerVendorId, scannerProductId, "", "Ridge Scanner", "Ridge"};
    std::string serialNumber;
    std::string virtualPort;
    std::string delay;
    std::string pattern;
    std::vector<std::string> images;
    std::vector<std::string> faults;
    std::string script;

    CLI::App app("A simulated ridge fingerprint scanner at the far end of a serial line.",
                 "ridge-scanner");
    app.footer(faultHelp());
    auto* line = app.add_option_group("line", "Where the scanner is attached")->require_option(1);
    line->add_option(
        "--virtual", virtualPort,
        "Create a virtual COM port for the host, such as COM7 (needs the port driver)");
    line->add_option("--port", options.port,
                     "Sit at a COM port, such as one end of a null-modem pair");
    app.add_option("--serial", serialNumber,
                   "Serial number; without it RS- and the virtual port's number");
    addUsbOptions(app, options.usb);
    app.add_option("--baud", options.baud, "Pace of the line; 0 means without delay")
        ->capture_default_str();
    app.add_option("--seed", options.config.firstFinger.seed,
                   "The first finger; each capture shows the next")
        ->capture_default_str();
    app.add_option("--pattern", pattern, "Kind of the fingers; without it a mixture")
        ->check(CLI::IsMember(patterns));
    app.add_option("--image", images,
                   "Picture to deliver instead of a synthetic finger; may be given several times");
    app.add_option("--finger-delay", delay,
                   "Milliseconds until a finger lies on the sensor, or never");
    app.add_option("--early-lifts", options.config.finger.earlyLifts,
                   "How often the finger is lifted again too early")
        ->capture_default_str();
    app.add_option("--fault", faults, "A fault, see below; may be given several times");
    app.add_option("--script", script, "File with a fault per line")->check(CLI::ExistingFile);
    app.add_flag("--commands", options.commands,
                 "Take commands from the standard input: unplug, plug; its end is the scanner's");
    app.add_flag("--verbose", options.verbose, "Report every answer");

    try {
        app.parse(argumentCount, arguments);
        if (!virtualPort.empty()) {
            options.virtualPort = portNumber(virtualPort);
            options.usb.serialNumber = defaultSerialNumber(options.virtualPort);
            options.config.identity.texts[1] = options.usb.serialNumber;
        }
        if (app.count("--serial") != 0) {
            checkSerialNumber(serialNumber);
            options.usb.serialNumber = serialNumber;
            options.config.identity.texts[1] = serialNumber;
        }
        if (!delay.empty()) {
            options.config.finger.delay = fingerDelay(delay);
        }
        if (!pattern.empty()) {
            options.config.firstFinger.pattern = patterns.at(pattern);
        }
        for (const std::string& image : images) {
            options.config.images.push_back(readImageFile(image));
        }
        if (!script.empty()) {
            options.config.faults = parseFaultScript(readFile(script));
        }
        for (const std::string& fault : faults) {
            options.config.faults.push_back(parseFault(fault));
        }
    } catch (const CLI::ParseError& error) {
        return {std::nullopt, app.exit(error)};
    }
    return {options, 0};
}

} // namespace ridge::simulator
