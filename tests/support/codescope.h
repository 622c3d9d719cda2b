#pragma once

#include <utility>

namespace ridge::test {

/// Whose code a thread runs.
enum class Code {
    library,
    /// A test, the callbacks of its host, the far end of a line.
    surroundings
};

/// Says whose code the calling thread runs while the object lives. What nobody has marked is the
/// library's, its own threads above all.
class CodeScope {
public:
    explicit CodeScope(Code code) : before(std::exchange(running, code)) {}
    ~CodeScope() { running = before; }

    CodeScope(const CodeScope&) = delete;
    CodeScope& operator=(const CodeScope&) = delete;

    [[nodiscard]] static Code current() { return running; }

private:
    inline static constinit thread_local Code running = Code::library;

    Code before;
};

/// Makes a call into the library.
template <typename Call>
auto inLibrary(const Call& call) {
    const CodeScope scope(Code::library);
    return call();
}

} // namespace ridge::test
