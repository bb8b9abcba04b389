#pragma once

#include <string>

namespace korvane::schedule {

/// What is wrong with an XLSX file that was just written, or nothing: each part must end with the
/// end of its root element. The library that writes it does not notice when a disk is full while
/// temporary files grow.
std::string fault_of_xlsx(const std::string& filename);

}  // namespace korvane::schedule
