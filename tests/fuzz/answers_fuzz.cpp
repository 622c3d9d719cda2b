// Each command with whatever the scanner may answer.

#include "defaultridgecommands.h"
#include "fakepackethandler.h"
#include "require.h"
#include "ridgeexception.h"
#include "runs.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace {

using ridge::test::require;
using Commands = ridge::DefaultRidgeCommands;

struct Question {
    std::uint8_t code;
    std::function<void(Commands&)> ask;
};

const std::vector<Question>& questions() {
    static const std::array<std::uint8_t, 32> key{};
    static const std::vector<Question> all{
        {0x30, [](Commands& commands) { (void)commands.getDeviceInfo(); }},
        {0x15, [](Commands& commands) { require(commands.getDeviceSettings().rotation <= 3); }},
        {0x10, [](Commands& commands) { commands.startCapture(1, 1000, 1, true, {}); }},
        {0x12, [](Commands& commands) { commands.stopCapture(); }},
        {0x11,
         [](Commands& commands) {
             bool timedOut = false;
             bool event = false;
             (void)commands.getCaptureData(true, timedOut, event);
             require(!timedOut || !event);
         }},
        {0x11,
         [](Commands& commands) {
             bool timedOut = false;
             bool event = false;
             require(!commands.getCaptureData(false, timedOut, event).empty());
         }},
        {0x2C, [](Commands& commands) { commands.clearKey(); }},
        {0x17, [](Commands& commands) { (void)commands.startHostAssistedCapture(1, 1, {}); }},
        {0x18, [](Commands& commands) { commands.sendHostAssistedCaptureResult({}, true); }},
        {0x31, [](Commands& commands) { commands.ping(); }},
        {0x24, [](Commands& commands) { commands.certClear(); }},
        {0x23, [](Commands& commands) { (void)commands.certGet(); }},
        {0x22, [](Commands& commands) { commands.certSet(key.data(), 32); }},
        {0x21,
         [](Commands& commands) {
             ridge::CsrName name;
             name.commonName = "Ann";
             require(!commands.createCsr(name).empty());
         }},
        {0x20, [](Commands& commands) { commands.setKey(key.data()); }},
        {0x16,
         [](Commands& commands) {
             commands.setSettings({1, 2});
         }},
        {0x13, [](Commands& commands) { commands.startStream({}); }},
        {0x14, [](Commands& commands) { (void)commands.getStreamData(true); }},
        {0x14, [](Commands& commands) { require(!commands.getStreamData(false).empty()); }},
    };
    return all;
}

} // namespace

/// The command, then packets: type, how the code differs from the expected one, payload as a run.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ridge::test::Runs input({data, size});
    const Question& question = questions()[input.byte() % questions().size()];
    ridge::test::FakePacketHandler packets;
    while (!input.ended()) {
        const std::uint8_t type = input.byte();
        const auto code = static_cast<std::uint8_t>(question.code ^ input.byte());
        packets.answer(type == 0 ? ridge::packetTypeResponse : type, code,
                       input.next(ridge::maxPacketPayload));
    }
    Commands commands(&packets);
    try {
        question.ask(commands);
    } catch (const ridge::RidgeException& failure) {
        require(failure.code() >= 2 && failure.code() <= 14);
    }
    return 0;
}
