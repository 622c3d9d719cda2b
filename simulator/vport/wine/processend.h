#pragma once

namespace ridge::simulator {

// Wine 8 ends the other threads of a process that exits wherever they are, even where they hold a
// lock of Wine's own, for which the exiting thread may then wait for ever. Brings the others to
// rest instead, and ends all threads at once when the libraries know of the end: until then the
// others stand still, while on Windows they are gone. For the calling process; without effect on
// Windows and on a second call.
void mendProcessEnd();

} // namespace ridge::simulator
