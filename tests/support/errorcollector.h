#pragma once

#include "serialport.h"

#include <string>
#include <vector>

namespace ridge::test {

/// Keeps the failures that a port reports.
class ErrorCollector final : public SerialPortErrorListener {
public:
    void onSerialPortError(const std::string& text) override { errors.push_back(text); }

    std::vector<std::string> errors;
};

} // namespace ridge::test
