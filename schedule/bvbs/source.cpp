#include "schedule/bvbs/source.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

#include "schedule/bvbs/letters.h"
#include "schedule/bvbs/spelling.h"

namespace korvane::schedule::bvbs {

namespace {

using model::cad::BarSpacer;
using model::cad::Fabric;
using model::cad::Rebar;

Line<Rebar> read_line(const Record& record, const Rebar& /*kind*/) { return read_bar(record); }
Line<Fabric> read_line(const Record& record, const Fabric& /*kind*/) { return read_fabric(record); }
Line<BarSpacer> read_line(const Record& record, const BarSpacer& /*kind*/) {
  return read_bar_spacer(record);
}

bool is_group_of(std::string_view group, const Rebar& /*kind*/) {
  return group == "BF2D" || group == "BF3D" || group == "BFWE";
}
bool is_group_of(std::string_view group, const Fabric& /*kind*/) { return group == "BFMA"; }
bool is_group_of(std::string_view group, const BarSpacer& /*kind*/) { return group == "BFAU"; }

/// Puts the right number after the C of a line in Windows-1252. None for a line without a C.
std::optional<std::string> with_right_checksum(std::string line) {
  const std::size_t block = line.rfind("@C");
  if (block == std::string::npos) return std::nullopt;
  const std::size_t number = block + 2;
  const std::string right = std::to_string(checksum(std::string_view(line).substr(0, number)));
  // A line that is right is left as it is: some end without the last @.
  const std::string stated = line.substr(number);
  if (stated == right || stated == right + '@') return line;
  return line.substr(0, number) + right + '@';
}

/// What a record's line has between its last other block and its checksum, as UTF-8.
std::string private_text_of(const Record& record) {
  std::size_t begin = record.group.size() + 1;
  for (const Block& block : record.blocks) {
    ++begin;
    for (const Field& field : block.fields) begin += field.value.size() + 2;
  }
  const std::size_t end = record.source.rfind("@C") + 1;
  return begin < end ? record.source.substr(begin, end - begin) : std::string();
}

template <class T>
std::optional<Source> read_again(const T& item, const char* property) {
  const auto found = item.properties.find(property);
  if (found == item.properties.end() || !found->second.value_string) return std::nullopt;
  std::optional<std::string> bytes = line_of_source(*found->second.value_string);
  if (!bytes) return std::nullopt;
  try {
    Record record = parse_record(*bytes, 0);
    if (!is_group_of(record.group, item)) return std::nullopt;
    const Line<T> line = read_line(record, item);
    Draft draft = draft_of(line.item, line.drawing);
    std::string private_text = private_text_of(record);
    return Source{*std::move(bytes), std::move(record), std::move(private_text), line.drawing,
                  std::move(draft)};
  } catch (const RecordError&) {
    return std::nullopt;
  } catch (const CannotSay&) {
    return std::nullopt;
  }
}

template <class T>
std::optional<Draft> try_draft(const T& item, const Drawing& drawing) {
  try {
    return draft_of(item, drawing);
  } catch (const CannotSay&) {
    return std::nullopt;
  }
}

template <class T>
bool source_states(const T& now, const Drawing& drawing) {
  const std::optional<Source> source = read_again(now, kSourceProperty);
  if (!source) return false;
  const std::optional<Draft> draft = try_draft(now, drawing);
  return draft && states(*source, *draft);
}

template <class T>
void drop_stale(T& now, const std::string* steel) {
  std::optional<Source> source = read_again(now, kSourceProperty);
  const bool is_rest = !source;
  if (is_rest) source = read_again(now, kRestProperty);
  if (!source) return;
  Drawing drawing = source->drawing;
  if (steel != nullptr) drawing.steel = *steel;
  const std::optional<Draft> draft = try_draft(now, drawing);
  if (draft && states(*source, *draft)) return;
  now.properties.erase(is_rest ? kRestProperty : kSourceProperty);
  if (!draft || !says_more(*source, *draft)) return;
  try {
    std::string rest = utf8_from_windows1252(spell(*draft, &*source));
    now.properties[kRestProperty].value_string.set(std::move(rest));
  } catch (const CannotSay&) {
    // The format has no letters for a value: there will be no line to keep the rest for.
    return;
  }
}

}  // namespace

std::optional<std::string> line_of_source(const std::string& source) {
  std::optional<std::string> bytes = windows1252_from_utf8(source);
  if (bytes) bytes = with_right_checksum(*std::move(bytes));
  if (bytes && bytes->find_first_of("\r\n") != std::string::npos) return std::nullopt;
  return bytes;
}

std::optional<Source> read_source(const Rebar& bar, const char* property) {
  return read_again(bar, property);
}
std::optional<Source> read_source(const Fabric& fabric, const char* property) {
  return read_again(fabric, property);
}
std::optional<Source> read_source(const BarSpacer& spacer, const char* property) {
  return read_again(spacer, property);
}

bool states(const Source& source, const Draft& draft) {
  const Draft& stated = source.draft;
  const bool is_same_but_for_names = stated.group == draft.group && stated.shape == draft.shape &&
                                     stated.treatments == draft.treatments &&
                                     stated.header.size() == draft.header.size();
  if (!is_same_but_for_names) return false;
  return std::equal(stated.header.begin(), stated.header.end(), draft.header.begin(),
                    [](const DraftField& line, const DraftField& now) {
                      return line.text == now.text || (line.letter == 'j' && line.text.empty());
                    });
}

bool states_the_same(const Rebar& now, const Drawing& drawing) {
  return source_states(now, drawing);
}
bool states_the_same(const Fabric& now, const Drawing& drawing) {
  return source_states(now, drawing);
}
bool states_the_same(const BarSpacer& now, const Drawing& drawing) {
  return source_states(now, drawing);
}

void drop_stale_source(Rebar& now, const std::string& steel) { drop_stale(now, &steel); }
void drop_stale_source(Fabric& now, const std::string& steel) { drop_stale(now, &steel); }
void drop_stale_source(BarSpacer& now) { drop_stale(now, nullptr); }

}  // namespace korvane::schedule::bvbs
