#pragma once

#include <string>

#include "schedule/bvbs/lines.h"
#include "schedule/bvbs/record.h"

namespace korvane::test {

/// `record`, which ends in the C of its checksum, with the number that belongs there.
inline std::string with_checksum(const std::string& record) {
  return record + std::to_string(schedule::bvbs::checksum(record)) + "@";
}

/// The same as a line of a file.
inline std::string line_of(const std::string& record) { return with_checksum(record) + "\r\n"; }

/// The bar that `record` states, which ends in the C of its checksum.
inline schedule::bvbs::BarLine bar_of(const std::string& record) {
  return schedule::bvbs::read_bar(schedule::bvbs::parse_record(with_checksum(record), 1));
}

/// A bar of one metre with the fields of a header that are given: "r417@ia@p1@".
inline std::string straight_bar(const std::string& header) {
  return line_of("BF2D@H" + header + "l1000@n1@e0.888@d12@g@s@v@Gl1000@w0@C");
}

}  // namespace korvane::test
