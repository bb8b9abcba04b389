// Any bytes, read as a BVBS file: a RecordError that names its line, or lines that can be sent on
// as JSON. They are read once as they are, and once more with the checksums that they ought to
// have, since nothing else would get past those.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

#include "contracts/encoding/json.h"
#include "fuzz/promise.h"
#include "fuzz/utf8.h"
#include "schedule/bvbs/bvbs.h"
#include "tools/korvane/import.h"

namespace {

using korvane::fuzz::promise;

/// A file in memory, under a name.
class MemoryFile {
 public:
  MemoryFile() : descriptor_(memfd_create("schedule", MFD_CLOEXEC)) {
    promise(descriptor_ >= 0, "a file in memory can be made");
  }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  ~MemoryFile() { close(descriptor_); }

  void fill(std::string_view text) const {
    const auto size = static_cast<ssize_t>(text.size());
    const bool is_filled =
        ftruncate(descriptor_, 0) == 0 && pwrite(descriptor_, text.data(), text.size(), 0) == size;
    promise(is_filled, "a file in memory can be filled");
  }
  std::string name() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

std::string with_right_checksums(std::string_view text) {
  std::string right;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    const std::size_t block = line.rfind("@C");
    if (block == std::string_view::npos) {
      right += line;
    } else {
      const std::string_view summed = line.substr(0, block + 2);
      right += summed;
      right += std::to_string(korvane::bvbs::checksum(summed)) + '@';
    }
    right += '\n';
  }
  return right;
}

template <class Lines>
void send_on(const Lines& lines) {
  for (const auto& line : lines) {
    // Throws for text that is no UTF-8 and for numbers that are not finite.
    promise(!korvane::encoding::to_json(line.item).empty(), "a line can be written as JSON");
  }
}

void read(std::string_view text) {
  static const MemoryFile file;
  file.fill(text);
  korvane::tool::ScheduleFile schedule;
  try {
    schedule = korvane::tool::read_schedule(file.name(), {});
  } catch (const korvane::bvbs::RecordError& failure) {
    const std::string told = failure.what();
    promise(told.starts_with("line "), "a failure names its line");
    promise(korvane::fuzz::is_utf8(told), "what is said of a failure is UTF-8");
    return;
  }
  send_on(schedule.bars);
  send_on(schedule.fabrics);
  send_on(schedule.bar_spacers);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  read(text);
  read(with_right_checksums(text));
  return 0;
}
