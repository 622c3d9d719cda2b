#pragma once

#include "serialport.h"

#include <gtest/gtest.h>

#include <string>

namespace ridge::test {

/// For ports that must not fail.
class NoErrors final : public SerialPortErrorListener {
public:
    void onSerialPortError(const std::string& text) override { ADD_FAILURE() << text; }
};

} // namespace ridge::test
