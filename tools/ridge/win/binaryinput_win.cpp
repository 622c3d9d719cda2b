#include "binaryinput.h"

#include <cstdio>

#include <fcntl.h>
#include <io.h>

namespace ridge::tool {

void makeInputBinary() {
    _setmode(_fileno(stdin), _O_BINARY);
}

} // namespace ridge::tool
