// Framing: what the data link makes of the bytes of the line, and of the packets for it.

#include "defaultdatalinkhandler.h"
#include "nullport.h"
#include "payloads.h"
#include "suites.h"
#include "textbookframing.h"

#include <cstring>
#include <memory>
#include <utility>

namespace ridge::bench {
namespace {

using Lines = std::shared_ptr<const std::vector<Bytes>>;

constexpr std::size_t bytesPerIteration = payloadSize * payloadCount;

class FrameCounter final : public DataLinkListener {
public:
    void onFrame(const std::uint8_t* bytes, std::uint32_t size) override {
        benchmark::DoNotOptimize(bytes);
        payloadBytes += size;
    }

    std::size_t payloadBytes = 0;
};

/// The last check of a decoder: each payload has come whole.
void requireAll(benchmark::State& state, std::size_t payloadBytes) {
    if (payloadBytes != static_cast<std::size_t>(state.iterations()) * bytesPerIteration) {
        state.SkipWithError("not all payloads were decoded");
    }
}

std::function<void(benchmark::State&)> libraryDecodes(Lines lines, std::size_t readSize) {
    return [lines = std::move(lines), readSize](benchmark::State& state) {
        NoErrors errors;
        FrameCounter counter;
        NullPortFactory factory;
        const DefaultDataLinkHandler dataLink(factory, "port", errors, counter);
        for ([[maybe_unused]] auto iteration : state) {
            for (const Bytes& line : *lines) {
                factory.receive(line, readSize);
            }
        }
        requireAll(state, counter.payloadBytes);
    };
}

std::function<void(benchmark::State&)> textbookDecodes(Lines lines, std::size_t readSize) {
    return [lines = std::move(lines), readSize](benchmark::State& state) {
        std::size_t payloadBytes = 0;
        TextbookDecoder decoder([&](const std::uint8_t* bytes, std::size_t size) {
            benchmark::DoNotOptimize(bytes);
            payloadBytes += size;
        });
        for ([[maybe_unused]] auto iteration : state) {
            for (const Bytes& line : *lines) {
                for (std::size_t begin = 0; begin < line.size(); begin += readSize) {
                    decoder.receive(line.data() + begin, std::min(readSize, line.size() - begin));
                }
            }
        }
        requireAll(state, payloadBytes);
    };
}

std::function<void(benchmark::State&)> libraryEncodes(Lines payloads) {
    return [payloads = std::move(payloads)](benchmark::State& state) {
        NoErrors errors;
        FrameCounter counter;
        NullPortFactory factory;
        DefaultDataLinkHandler dataLink(factory, "port", errors, counter);
        for ([[maybe_unused]] auto iteration : state) {
            for (const Bytes& payload : *payloads) {
                dataLink.sendFrame(payload.data(), static_cast<std::int32_t>(payload.size()));
            }
        }
    };
}

std::function<void(benchmark::State&)> textbookEncodes(Lines payloads) {
    return [payloads = std::move(payloads)](benchmark::State& state) {
        TextbookEncoder encoder([](const std::uint8_t* bytes, std::size_t) {
            benchmark::DoNotOptimize(bytes);
            benchmark::ClobberMemory();
        });
        for ([[maybe_unused]] auto iteration : state) {
            for (const Bytes& payload : *payloads) {
                encoder.send(payload.data(), payload.size());
            }
        }
    };
}

/// What no framing is faster than.
std::function<void(benchmark::State&)> payloadsAreCopied(Lines payloads) {
    return [payloads = std::move(payloads)](benchmark::State& state) {
        Bytes copy(payloadSize);
        for ([[maybe_unused]] auto iteration : state) {
            for (const Bytes& payload : *payloads) {
                std::memcpy(copy.data(), payload.data(), payload.size());
                benchmark::DoNotOptimize(copy.data());
                benchmark::ClobberMemory();
            }
        }
    };
}

void addPayloads(Comparisons& comparisons, const Payloads& payloads, bool hasDecoderTargets) {
    const Figure figure = gigabytesPerSecond(bytesPerIteration);
    const Lines frames = std::make_shared<const std::vector<Bytes>>(framesOf(payloads));
    const Lines plain = std::make_shared<const std::vector<Bytes>>(payloads.all);
    for (const std::size_t readSize : {12U, 62U, 256U, 10000U}) {
        const std::string measure =
            "decode, " + payloads.kind + ", reads of " + std::to_string(readSize);
        comparisons.add({{libraryDecodes(frames, readSize), figure},
                         {{measure + ", / textbook",
                           {textbookDecodes(frames, readSize), figure},
                           hasDecoderTargets ? ">= 1.5" : "",
                           hasDecoderTargets ? ">= 1.9" : ""},
                          {measure + ", / memcpy", {payloadsAreCopied(plain), figure}, "", ""}}});
    }
    const std::string measure = "encode, " + payloads.kind;
    comparisons.add(
        {{libraryEncodes(plain), figure},
         {{measure + ", / textbook", {textbookEncodes(plain), figure}, ">= 2", ""},
          {measure + ", / memcpy", {payloadsAreCopied(plain), figure}, "", ">= 0.12"}}});
}

} // namespace

void addDataLink(Comparisons& comparisons) {
    addPayloads(comparisons, randomPayloads(), true);
    addPayloads(comparisons, imagePayloads(), true);
    addPayloads(comparisons, escapePayloads(), false);
}

} // namespace ridge::bench
