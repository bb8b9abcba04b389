#pragma once

#include <cstdlib>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"
#include "tests/support/text_of.h"

/// A PDF file as other programs read it.
namespace korvane::test {

inline std::string run_on_pdf(const std::string& command, const std::string& pdf,
                              const std::string& end) {
  const TemporaryFolder folder;
  std::ofstream(folder.file("list.pdf"), std::ios::binary) << pdf;
  const std::string line =
      command + " " + folder.file("list.pdf") + end + " >" + folder.file("text") + " 2>&1";
  EXPECT_EQ(std::system(line.c_str()), 0) << text_of(folder.file("text"));
  return text_of(folder.file("text"));
}

/// Its texts where they stand; pages end in a form feed.
inline std::string pdf_text(const std::string& pdf) {
  return run_on_pdf("pdftotext -layout", pdf, " -");
}

inline std::string pdf_info(const std::string& pdf) { return run_on_pdf("pdfinfo", pdf, ""); }

}  // namespace korvane::test
