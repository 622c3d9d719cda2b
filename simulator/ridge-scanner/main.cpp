#include "commandreport.h"
#include "csrcreator.h"
#include "driverservice.h"
#include "mailbox.h"
#include "options.h"
#include "ridgeexception.h"
#include "scannerloop.h"
#include "scannermodel.h"
#include "serialline.h"
#include "unplugpoint.h"
#include "usbattachment.h"

#include <windows.h>

#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace ridge;
using namespace ridge::simulator;

Mailbox mailbox;

BOOL WINAPI endOnInterruption(DWORD) {
    mailbox.end();
    return TRUE;
}

/// Hands the lines of the standard input to the scanner and ends it with its input, so that whoever
/// started it need not find it again. The thread goes with the process.
void watchInput() {
    std::thread([] {
        std::string line;
        while (std::getline(std::cin, line)) {
            mailbox.putCommand(line);
        }
        mailbox.end();
    }).detach();
}

/// What can be done to the scanner's cable, by a line of the standard input.
class CableCommands {
public:
    CableCommands(UsbAttachment* usbCable, ScannerLoop& scannerLoop)
        : cable(usbCable), loop(scannerLoop) {}

    void obey(const std::string& command) {
        const std::string unplugAt = "unplug-at ";
        if (cable != nullptr && command == "unplug") {
            unplug();
        } else if (cable != nullptr && command == "plug") {
            cable->plug();
            std::cout << "plugged in" << std::endl;
        } else if (cable != nullptr && command.starts_with(unplugAt)) {
            setUnplugPoint(command.substr(unplugAt.size()));
        } else {
            std::cerr << "ridge-scanner: no such command: \"" << command
                      << "\"; with --virtual there are \"unplug\", \"unplug-at\" and \"plug\""
                      << std::endl;
        }
    }

private:
    void unplug() {
        loop.unplugAt(std::nullopt);
        cable->unplug();
        loop.cutLine();
        std::cout << "unplugged" << std::endl;
    }

    void setUnplugPoint(const std::string& text) {
        try {
            loop.unplugAt(parseUnplugPoint(text), [this] {
                // What has crossed the line reaches the host.
                cable->awaitTaken();
                unplug();
            });
            std::cout << "will be unplugged" << std::endl;
        } catch (const std::invalid_argument& failure) {
            std::cerr << "ridge-scanner: " << failure.what() << std::endl;
        }
    }

    UsbAttachment* cable;
    ScannerLoop& loop;
};

/// The scanner answers with a number: the reason is for whoever runs it.
std::vector<std::uint8_t> createdRequest(CsrCreator& requests, const CsrSubject& subject) {
    try {
        return requests.create(subject);
    } catch (const std::exception& failure) {
        std::cerr << "ridge-scanner: " << failure.what() << std::endl;
        throw;
    }
}

void run(const ScannerOptions& options) {
    CsrCreator requests;
    ScannerConfig config = options.config;
    config.createCsr = [&requests](const CsrSubject& subject) {
        return createdRequest(requests, subject);
    };
    ScannerModel model(config);
    // A host may connect as soon as the cable is there.
    model.prepareImage();
    std::unique_ptr<UsbAttachment> cable;
    std::string lineName = options.port;
    std::string hostName = options.port;
    if (options.virtualPort != 0) {
        startDriver(driverFileBesideProgram());
        removeForsakenDevices();
        cable = std::make_unique<UsbAttachment>(options.virtualPort, options.usb);
        lineName = cable->lineName();
        hostName = "COM" + std::to_string(options.virtualPort);
    }
    CommandReport report(model, std::cout, options.verbose);
    model.setTrace([&report](Direction direction, const Packet& packet) {
        report.onPacket(direction, packet);
    });
    SerialLine line(lineName, mailbox);
    ScannerLoop loop(model, mailbox, options.baud, [&line](std::span<const std::uint8_t> bytes) {
        try {
            line.write(bytes);
        } catch (const RidgeException& failure) {
            // A host that does not read loses what the line cannot hold, as with a real one.
            std::cerr << "ridge-scanner: " << failure.what() << std::endl;
        }
    });
    CableCommands commands(cable.get(), loop);
    loop.setCommandHandler([&commands](const std::string& command) { commands.obey(command); });
    SetConsoleCtrlHandler(endOnInterruption, TRUE);
    if (options.commands) {
        watchInput();
    }
    std::cout << "ready on " << hostName << std::endl;
    loop.run();
}

} // namespace

int main(int argumentCount, char** arguments) {
    try {
        const ParsedOptions parsed = parseOptions(argumentCount, arguments);
        if (!parsed.options) {
            return parsed.exitStatus;
        }
        run(*parsed.options);
        return 0;
    } catch (const std::exception& failure) {
        std::cerr << "ridge-scanner: " << failure.what() << std::endl;
        return 2;
    }
}
