#include "platform/app/database_file.h"

#include <array>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace krv::app {

namespace {

/// With its terminating zero (https://www.sqlite.org/fileformat.html).
constexpr std::string_view kMagic{"SQLite format 3\0", 16};

}  // namespace

bool begins_as_database(const std::filesystem::path& file) {
  std::array<char, kMagic.size()> bytes{};
  // Without O_NONBLOCK, opening a pipe would wait for its writer.
  const int descriptor = ::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) return false;
  const ssize_t size = ::read(descriptor, bytes.data(), bytes.size());
  ::close(descriptor);
  return size == static_cast<ssize_t>(bytes.size()) &&
         std::string_view(bytes.data(), bytes.size()) == kMagic;
}

}  // namespace krv::app
