#pragma once

#include <string>

#include "schedule/bvbs/record.h"

namespace korvane::test {

/// A line of a file. `record` ends in the C of its checksum.
inline std::string line_of(const std::string& record) {
  return record + std::to_string(schedule::bvbs::checksum(record)) + "@\r\n";
}

/// A bar of one metre with the fields of a header that are given: "r417@ia@p1@".
inline std::string straight_bar(const std::string& header) {
  return line_of("BF2D@H" + header + "l1000@n1@e0.888@d12@g@s@v@Gl1000@w0@C");
}

}  // namespace korvane::test
