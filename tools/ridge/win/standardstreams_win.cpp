#include "standardstreams.h"

#include <cstddef>
#include <cstdio>

#include <fcntl.h>
#include <io.h>

namespace ridge::tool {

void prepareStandardStreams() {
    constexpr std::size_t longestPiece = 0x10000;
    _setmode(_fileno(stdin), _O_BINARY);
    _setmode(_fileno(stdout), _O_BINARY);
    std::setvbuf(stdout, nullptr, _IOFBF, longestPiece);
}

} // namespace ridge::tool
