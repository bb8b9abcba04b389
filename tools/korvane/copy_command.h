#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "sqlite/backup.h"
#include "tools/korvane/output_options.h"

namespace korvane::tools {

/// Copies by `copy`, with progress on stderr if that is a terminal; warns of what is wrong with the
/// content, and prints the copy: "backup" or "restored".
void print_copy(const std::string& table_name, const OutputOptions& output,
                sqlite::CopyOptions options,
                const std::function<sqlite::CopyResult(const sqlite::CopyOptions&)>& copy);

}  // namespace korvane::tools
