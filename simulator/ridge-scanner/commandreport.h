#pragma once

#include "scannermodel.h"

#include <iosfwd>

namespace ridge::simulator {

/// Prints what the host tells the scanner to do, a line per command. Questions that a host repeats
/// all the time are left out unless they are asked for too.
class CommandReport {
public:
    CommandReport(const ScannerModel& model, std::ostream& stream, bool withRepeated);

    /// To be called with every packet of the line.
    void onPacket(Direction direction, const Packet& packet);

private:
    const ScannerModel& model;
    std::ostream& stream;
    bool withRepeated;
};

} // namespace ridge::simulator
