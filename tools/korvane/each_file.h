#pragma once

#include <functional>
#include <string>
#include <vector>

#include "schedule/table.h"
#include "tools/korvane/output_options.h"

namespace korvane::tools {

/// A row of a table.
using FileRow = decltype(schedule::Table::rows)::value_type;

/// Does `work` with one file after another and prints `table`, which has its name and columns, with
/// the rows that it gives. Where it throws, the file's row is missing and the failure goes to stderr.
/// Returns the exit code: kDone, kDonePart where some files failed, kFailed where all did.
int print_each_file(const std::vector<std::string>& files, schedule::Table table,
                    const OutputOptions& output,
                    const std::function<FileRow(const std::string& file)>& work);

}  // namespace korvane::tools
