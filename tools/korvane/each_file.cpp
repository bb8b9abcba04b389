#include "tools/korvane/each_file.h"

#include <cstddef>
#include <exception>
#include <iostream>

#include "tools/korvane/commands.h"
#include "tools/korvane/standard_output.h"
#include "tools/korvane/terminal_text.h"

namespace korvane::tools {

int print_each_file(const std::vector<std::string>& files, schedule::Table table,
                    const OutputOptions& output,
                    const std::function<FileRow(const std::string& file)>& work) {
  std::size_t failed = 0;
  for (const std::string& file : files) {
    try {
      table.rows.push_back(work(file));
    } catch (const std::exception& failure) {
      ++failed;
      std::cerr << "korvane: " << printable(failure.what()) << '\n';
    }
  }
  TablePrinter printer(output, TablePrinter::Tables::one, std::cout);
  if (!printer.is_for_people() || !table.rows.empty()) printer.print(table);
  printer.finish();
  require_output();
  if (failed == 0) return kDone;
  return failed == files.size() ? kFailed : kDonePart;
}

}  // namespace korvane::tools
