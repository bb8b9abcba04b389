// Any bytes, read as a BVBS file: a RecordError that names its line, or lines that can be written
// as JSON. They are read as they are, and once more with the right checksums, without which little
// would be read at all.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>

#include "contracts/encoding/json.h"
#include "fuzz/promise.h"
#include "fuzz/utf8.h"
#include "schedule/bvbs/schedule.h"

namespace {

namespace bvbs = korvane::schedule::bvbs;

using korvane::fuzz::promise;

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
      right += std::to_string(bvbs::checksum(summed)) + '@';
    }
    right += '\n';
  }
  return right;
}

template <class Lines>
void send_on(const Lines& lines) {
  for (const auto& line : lines) {
    // Throws for text that is not UTF-8 and for numbers that are not finite.
    promise(!korvane::encoding::to_json(line.item).empty(), "a line can be written as JSON");
  }
}

void read(std::string_view text) {
  std::istringstream input{std::string(text)};
  bvbs::Schedule schedule;
  try {
    schedule = bvbs::read_schedule(input, {}, "unnamed");
  } catch (const bvbs::RecordError& failure) {
    const std::string text_of_failure = failure.what();
    promise(text_of_failure.starts_with("line "), "a failure names its line");
    promise(korvane::fuzz::is_utf8(text_of_failure), "the text of a failure is UTF-8");
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
