#include "schedule/bvbs/schedule.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace korvane::schedule::bvbs {

Schedule read_schedule(std::istream& input, const ScheduleNames& names,
                       const std::string& unnamed_sheet) {
  Schedule schedule;
  for (const Record& record : read_records(input)) {
    const auto remark = [&](const char* text) {
      schedule.remarks.push_back("line " + std::to_string(record.line) + ": " + text);
    };
    const auto add = [&](auto& lines, auto line) {
      Drawing& drawing = line.drawing;
      drawing.is_named_after_file = drawing.sheet.empty() && !names.sheet;
      if (drawing.sheet.empty()) drawing.sheet = unnamed_sheet;
      if (names.sheet) drawing.sheet = *names.sheet;
      if (names.revision) drawing.revision = *names.revision;
      lines.push_back(std::move(line));
    };
    if (record.group == "BF2D" || record.group == "BF3D" || record.group == "BFWE") {
      BarLine bar = read_bar(record);
      if (bar.weight_was_total) remark("the stated weight was taken as that of all pieces");
      if (bar.item.bar_type_mass_per_length == 0) {
        remark("no weight is stated; the mass per metre is 0");
      }
      add(schedule.bars, std::move(bar));
    } else if (record.group == "BFMA") {
      add(schedule.fabrics, read_fabric(record));
    } else if (record.group == "BFAU") {
      add(schedule.bar_spacers, read_bar_spacer(record));
    } else {
      ++schedule.skipped[record.group];
      continue;
    }
    if (record.has_foreign_letters) remark("letters beyond ASCII were taken as Windows-1252");
  }
  return schedule;
}

Schedule read_schedule_file(const std::string& filename, const ScheduleNames& names) {
  std::ifstream input(filename, std::ios::binary);
  if (!input) throw std::runtime_error("cannot read " + filename);
  return read_schedule(input, names, std::filesystem::path(filename).stem().string());
}

}  // namespace korvane::schedule::bvbs
