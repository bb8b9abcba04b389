#include "host/memory/heap.h"

#include <atomic>
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

void note_freed_memory(std::uint64_t bytes) {
#ifdef __GLIBC__
  constexpr std::uint64_t kMark = std::uint64_t{64} << 20U;
  // Smaller requests find their memory again in what is kept.
  constexpr std::uint64_t kWorthIt = std::uint64_t{1} << 20U;
  static std::atomic<std::uint64_t> freed = 0;
  if (bytes < kWorthIt || (freed += bytes) < kMark) return;
  freed = 0;
  malloc_trim(0);
#else
  (void)bytes;
#endif
}

}  // namespace korvane::host
