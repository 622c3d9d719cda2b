#pragma once

namespace ridge::simulator {

// Wine 8 ends the other threads of a process that exits wherever they are, even where they hold a
// lock of Wine's own; the exiting thread may then wait for that lock for ever. Lets the others come
// to rest outside such locks first, for the calling process; without effect on Windows and on a
// second call.
void mendProcessEnd();

} // namespace ridge::simulator
