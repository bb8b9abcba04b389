// Any bytes, read as a BVBS file: faults that are UTF-8, and lines that can be written as JSON, are
// read the same from where they stand, and can be written as BVBS again: unchanged, byte for byte;
// anew, as a line that states the same. They are read as they are, and once more with the right
// checksums, without which little would be read at all.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

#include "contracts/encoding/json.h"
#include "fuzz/promise.h"
#include "fuzz/utf8.h"
#include "schedule/bvbs/letters.h"
#include "schedule/bvbs/schedule.h"
#include "schedule/bvbs/source.h"
#include "schedule/bvbs/write.h"

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

std::string json_of(const bvbs::AnyLine& line) {
  return std::visit(
      [](const auto& known) -> std::string {
        if constexpr (std::is_same_v<std::decay_t<decltype(known)>, std::monostate>) {
          return {};
        } else {
          // Throws for text that is not UTF-8 and for numbers that are not finite.
          return korvane::encoding::to_json(known.item);
        }
      },
      line);
}

bvbs::WrittenLine written(const korvane::model::cad::Rebar& bar, const bvbs::Drawing& drawing) {
  return bvbs::write_bar(bar, drawing);
}
bvbs::WrittenLine written(const korvane::model::cad::Fabric& fabric, const bvbs::Drawing& drawing) {
  return bvbs::write_fabric(fabric, drawing);
}
bvbs::WrittenLine written(const korvane::model::cad::BarSpacer& spacer,
                          const bvbs::Drawing& drawing) {
  return bvbs::write_bar_spacer(spacer, drawing);
}

template <class T>
void write_again(bvbs::Line<T> line) {
  auto& source = line.item.properties["bvbs"].value_string.value();
  const bvbs::WrittenLine unchanged = written(line.item, line.drawing);
  // Numbers at the end of the range leave it where they are multiplied again.
  promise(unchanged.line == bvbs::windows1252_from_utf8(source) ||
              unchanged.refusal.find("finite") != std::string::npos,
          "an unchanged line comes out byte for byte");
  source.clear();
  const bvbs::WrittenLine anew = written(line.item, line.drawing);
  if (anew.line.empty()) return promise(!anew.refusal.empty(), "a refusal has a reason");
  promise(anew.line.find_first_of("\r\n") == std::string::npos, "a line is one line");
  // A reader may take the weight of one piece for that of all, which is a remark.
  if (!anew.remarks.empty()) return;
  source = bvbs::utf8_from_windows1252(anew.line);
  promise(bvbs::states_the_same(line.item, line.drawing), "a line states what was written");
}

void write_again(std::monostate) {}

void read(std::string_view text) {
  const auto check = [](const bvbs::AnyLine& line, const bvbs::SourceLine& where) {
    const std::string json = json_of(line);
    promise(!json.empty(), "a line can be written as JSON");
    promise(json == json_of(bvbs::read_line(bvbs::parse_record(where))),
            "a line is read the same again");
    // After a byte order mark the letters have other bytes than those that are written.
    if (!where.has_mark) std::visit([](const auto& known) { write_again(known); }, line);
  };
  const bvbs::Findings findings = bvbs::read_schedule(text, check);
  for (const bvbs::Fault& fault : findings.faults) {
    promise(fault.line > 0, "a fault names its line");
    promise(korvane::fuzz::is_utf8(fault.reason), "the reason of a fault is UTF-8");
  }
  for (const bvbs::Note& note : findings.notes) {
    promise(korvane::fuzz::is_utf8(note.text), "a note is UTF-8");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  read(text);
  read(with_right_checksums(text));
  return 0;
}
