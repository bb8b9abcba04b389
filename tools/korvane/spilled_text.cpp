#include "tools/korvane/spilled_text.h"

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace korvane::tools {

namespace {

[[noreturn]] void fail(const char* what) {
  throw std::runtime_error(std::string("cannot ") + what +
                           " a temporary file: " + std::system_category().message(errno));
}

}  // namespace

void SpilledText::add(std::string_view text) {
  if (!file_) {
    begin_ += text;
    if (begin_.size() <= kInMemory) return;
    file_.reset(std::tmpfile());
    if (!file_) fail("make");
    text = begin_;
  }
  if (std::fwrite(text.data(), 1, text.size(), file_.get()) != text.size()) fail("write");
  begin_ = {};
}

void SpilledText::write_to(std::ostream& output) const {
  output << begin_;
  if (!file_) return;
  if (std::fflush(file_.get()) != 0) fail("write");
  std::rewind(file_.get());
  std::array<char, std::size_t{64} * 1024> piece{};
  while (const std::size_t size = std::fread(piece.data(), 1, piece.size(), file_.get())) {
    output.write(piece.data(), static_cast<std::streamsize>(size));
  }
  if (std::ferror(file_.get()) != 0) fail("read");
}

}  // namespace korvane::tools
