#pragma once

namespace ridge::tool {

/// Lets the console show UTF-8 as long as the object lives.
class Utf8Console {
public:
    Utf8Console();
    ~Utf8Console();

    Utf8Console(const Utf8Console&) = delete;
    Utf8Console& operator=(const Utf8Console&) = delete;

private:
    unsigned int codePage;
};

} // namespace ridge::tool
