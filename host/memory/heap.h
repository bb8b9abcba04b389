#pragma once

#include <cstdint>

namespace korvane::host {

/// Has the process keep what it frees for what it allocates next, up to 16 MiB for each of the C
/// library's heaps. By default it gives memory back after each large request and gets it anew, page
/// by page, with the next; that takes up to a quarter of a batch's time. For programs that serve,
/// once, before they start threads. Does nothing with a C library other than GNU's.
void keep_freed_memory();

/// Takes note that so many bytes have been freed. Gives free memory back to the system when they
/// have come to 64 MiB: the C library keeps what lies between blocks that are in use, in each of
/// its heaps. Any thread may call it.
void note_freed_memory(std::uint64_t bytes);

}  // namespace korvane::host
