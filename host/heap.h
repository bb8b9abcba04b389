#pragma once

namespace korvane::host {

/// Has the process keep what it frees for what it allocates next, up to 16 MiB for each of the C
/// library's heaps. By default it gives memory back after each large request and gets it anew, page
/// by page, with the next; that takes up to a quarter of a batch's time. For programs that serve,
/// once, before they start threads. Does nothing with a C library other than GNU's.
void keep_freed_memory();

}  // namespace korvane::host
