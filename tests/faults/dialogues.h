#pragma once

#include "documentedfailures.h"
#include "faultyline.h"
#include "host.h"

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace ridge::test {

/// What a host learned from a dialogue with its scanner.
struct Outcome {
    /// The first call that failed, or what the worker reported; success with an empty text.
    ReceivedFailure failure;
    Teller teller = Teller::nobody;
    /// What was received: texts of the scanner, image bytes, and so on.
    std::vector<std::string> received;

    [[nodiscard]] bool receivedBeginningOf(const Outcome& whole) const;
    bool operator==(const Outcome&) const = default;
};

void PrintTo(const Outcome& outcome, std::ostream* stream);

/// One thing that a host does with a scanner, from the connect on.
struct Dialogue {
    std::string name;
    std::function<Outcome(Host&, FaultyLine&)> run;
    /// What the host may ask of the scanner meanwhile.
    CommandNames commands;
};

void PrintTo(const Dialogue& dialogue, std::ostream* stream);

/// Every command of the library is in one of them.
std::vector<Dialogue> allDialogues();

/// Further ones, which bring nothing new to the line.
std::vector<Dialogue> sameOnTheLine();

/// A scanner with a small picture that answers everything.
simulator::ScannerConfig smallScanner();

} // namespace ridge::test
