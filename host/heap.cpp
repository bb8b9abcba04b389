#include "host/heap.h"

#include <cstdlib>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace korvane::host {

void keep_freed_memory() {
#ifdef __GLIBC__
  constexpr int kKept = 16 * 1024 * 1024;
  constexpr int kStep = 1024 * 1024;
  mallopt(M_TRIM_THRESHOLD, kKept);
  mallopt(M_MMAP_THRESHOLD, kKept);
  mallopt(M_TOP_PAD, kStep);
#endif
}

}  // namespace korvane::host
