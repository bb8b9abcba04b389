#pragma once

#include <fstream>
#include <string>
#include <string_view>

namespace korvane::tools {

/// A file that others see only when it is whole: it is written under another name in its folder and
/// takes the place of what was there, with its permissions, at the end. What is not a file, such as
/// a pipe or a device, is written as it is.
class OutputFile {
 public:
  /// Throws std::runtime_error "cannot write <filename>: <reason>", as all functions here do.
  explicit OutputFile(std::string filename);
  /// Removes what was written, unless it is finished.
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  /// The name that it is written under, for others that write it.
  const std::string& path() const { return path_; }

  void write(std::string_view text);

  /// Puts it in its place.
  void finish();

 private:
  [[noreturn]] void fail() const;

  std::string filename_;
  /// That of the file if it is a link.
  std::string target_;
  std::string path_;
  std::ofstream stream_;
  bool is_temporary_ = false;
};

}  // namespace korvane::tools
