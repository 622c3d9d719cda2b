#pragma once

#include <memory>
#include <string>
#include <vector>

namespace ridge::test {

struct AttachmentOptions {
    /// Without one, the scanner waits for it as long as it is asked to.
    bool finger = true;
    /// How often the finger is lifted again: two events each.
    unsigned earlyLifts = 0;
    /// In the simulator's words.
    std::vector<std::string> faults;
};

/// A simulated scanner, without delays, that a host can connect to. One program has it on a line in
/// memory, another in a process of its own.
class Attachment {
public:
    explicit Attachment(const AttachmentOptions& options = {});
    ~Attachment();

    Attachment(const Attachment&) = delete;
    Attachment& operator=(const Attachment&) = delete;

    [[nodiscard]] std::string portName() const;
    /// As its information tells; no two are the same.
    [[nodiscard]] std::string serialNumber() const;

    /// The port fails for the host, and can be opened again when it is plugged in.
    void unplug();
    void plug();

private:
    struct Line;
    std::unique_ptr<Line> line;
};

} // namespace ridge::test
