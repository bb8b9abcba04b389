#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>

namespace korvane::tools {

/// Text that is kept for later, however long it becomes: what is more than some hundred KiB of it
/// waits in a temporary file without a name.
class SpilledText {
 public:
  /// Throws std::runtime_error "cannot make a temporary file: <reason>" and "cannot write …".
  void add(std::string_view text);

  bool empty() const { return begin_.empty() && !file_; }

  /// Writes all of it. Throws std::runtime_error "cannot read …" and "cannot write …".
  void write_to(std::ostream& output) const;

 private:
  static constexpr std::size_t kInMemory = std::size_t{256} * 1024;

  struct Closed {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  /// What came first, until it is too long.
  std::string begin_;
  std::unique_ptr<std::FILE, Closed> file_;
};

}  // namespace korvane::tools
