#pragma once

namespace ridge::tool {

/// What the program ends with. The help lists the same values.
enum class ExitStatus {
    success = 0,
    /// A wrong option, a file or folder that cannot be used, or several scanners to choose from;
    /// the scanner was left alone.
    usageError = 1,
    /// No such scanner is attached, or the library or the scanner reported a failure.
    libraryError = 2,
    /// The capture ended without an image: no finger came, or no image was good enough.
    noImage = 3,
    /// Anything else, such as an image of an unexpected size or a full disk.
    otherFailure = 4,
    /// Ctrl-C.
    interrupted = 130
};

} // namespace ridge::tool
