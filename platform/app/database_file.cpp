#include "platform/app/database_file.h"

#include <array>
#include <cstddef>
#include <memory>
#include <string_view>
#include <system_error>

#include <sqlite3.h>

namespace krv::app {

namespace {

/// With its terminating zero (https://www.sqlite.org/fileformat.html).
constexpr std::string_view kMagic{"SQLite format 3\0", 16};

/// A file as SQLite opens it. The system takes all of a process's locks from a file as soon as any
/// descriptor of it is closed; SQLite alone knows which locks it has, and closes it after them.
class DatabaseFile {
 public:
  explicit DatabaseFile(const std::filesystem::path& path)
      : name_(sqlite3_create_filename(path.c_str(), "", "", 0, nullptr), &sqlite3_free_filename) {
    sqlite3_vfs* const system = sqlite3_vfs_find(nullptr);
    if (system == nullptr || name_ == nullptr) return;
    memory_ = std::make_unique<std::max_align_t[]>(
        static_cast<std::size_t>(system->szOsFile) / sizeof(std::max_align_t) + 1);
    is_open_ = system->xOpen(system, name_.get(), file(),
                             SQLITE_OPEN_READONLY | SQLITE_OPEN_MAIN_DB, nullptr) == SQLITE_OK;
  }
  DatabaseFile(const DatabaseFile&) = delete;
  DatabaseFile& operator=(const DatabaseFile&) = delete;
  ~DatabaseFile() {
    if (memory_ && file()->pMethods != nullptr) file()->pMethods->xClose(file());
  }

  bool begins_with(std::string_view text) const {
    std::array<char, kMagic.size()> bytes{};
    return is_open_ &&
           file()->pMethods->xRead(file(), bytes.data(), static_cast<int>(bytes.size()), 0) ==
               SQLITE_OK &&
           std::string_view(bytes.data(), bytes.size()) == text;
  }

 private:
  sqlite3_file* file() const { return reinterpret_cast<sqlite3_file*>(memory_.get()); }

  /// SQLite looks for options after its end.
  const std::unique_ptr<const char, void (*)(const char*)> name_;
  std::unique_ptr<std::max_align_t[]> memory_;
  bool is_open_ = false;
};

}  // namespace

bool begins_as_database(const std::filesystem::path& file) {
  // Opening a pipe might wait for its writer.
  std::error_code failure;
  return std::filesystem::is_regular_file(file, failure) && DatabaseFile(file).begins_with(kMagic);
}

}  // namespace krv::app
