#include "tools/korvane/copy_command.h"

#include <iostream>
#include <stdexcept>
#include <utility>

#include "sqlite/folder_entry.h"
#include "tools/korvane/columns.h"
#include "tools/korvane/progress.h"
#include "tools/korvane/standard_output.h"
#include "tools/korvane/terminal_text.h"

namespace korvane::tools {

void print_copy(const std::string& table_name, const OutputOptions& output,
                sqlite::CopyOptions options,
                const std::function<sqlite::CopyResult(const sqlite::CopyOptions&)>& copy) {
  sqlite::CopyResult result;
  {
    Progress progress(std::cerr, !output.is_quiet && is_error_output_a_terminal());
    options.progress = [&](std::size_t done, std::size_t total) {
      progress.show("copying", done, total);
    };
    try {
      result = copy(options);
    } catch (const sqlite::AlreadyThere& failure) {
      throw std::runtime_error(std::string(failure.what()) + " (--force replaces it)");
    }
  }
  for (const sqlite::Finding& finding : result.findings) {
    std::cerr << "warning: " << printable(finding.text) << '\n';
  }
  TablePrinter printer(output, TablePrinter::Tables::one, std::cout);
  schedule::Table table;
  table.name = table_name;
  table.columns = {text_column("file", "file"), count_column("bytes", "size", "bytes")};
  table.rows.push_back({result.filename, result.bytes});
  printer.print(table);
  printer.finish();
  require_output();
}

}  // namespace korvane::tools
