#pragma once

#include "host.h"

#include <string>
#include <vector>

/// What a host may be told when a line fails: statuses with the texts that belong to them.
namespace ridge::test {

/// Commands of the scanner, named as the texts name them.
using CommandNames = std::vector<std::string>;

/// Who has told the host of a failure.
enum class Teller { nobody, connect, call, capture, signingRequest };

/// One of these commands met bytes that got lost or were changed.
bool isDocumentedFailure(const ReceivedFailure& failure, const CommandNames& commands);

/// The port says that it is "unplugged": to a writer, or after the line has died. Calls and
/// captures look whether it has, and each say so in words of their own.
bool isPortFailure(const ReceivedFailure& failure, Teller teller);

/// One of these commands got no answer in time.
bool isTimeout(const ReceivedFailure& failure, const CommandNames& commands);

} // namespace ridge::test
