#include "sqlite/journal_files.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace korvane::sqlite {

namespace {

namespace fs = std::filesystem;

constexpr std::array kSuffixes = {"-journal", "-wal", "-shm"};

std::string beside(const std::string& filename, const char* suffix) {
  std::error_code failure;
  const fs::path resolved = fs::weakly_canonical(fs::absolute(filename), failure);
  std::string name = failure ? filename : resolved.string();
  while (name.ends_with('/')) name.pop_back();  // to SQLite "a.db/" is a.db
  return name + suffix;
}

bool has_bytes(const std::string& filename) {
  std::error_code none;
  return fs::file_size(filename, none) > 0 && !none;
}

}  // namespace

bool has_beside(const std::string& filename, const char* suffix) {
  return has_bytes(beside(filename, suffix));
}

bool is_write_ahead(const std::string& filename) {
  constexpr std::streamoff kReadVersion = 19;
  constexpr int kWriteAhead = 2;
  std::error_code none;
  if (!fs::is_regular_file(filename, none)) return false;
  std::ifstream input(filename, std::ios::binary);
  input.seekg(kReadVersion);
  return input.get() == kWriteAhead;
}

bool is_log_at_rest(const std::string& filename) {
  std::error_code none;
  return is_write_ahead(filename) && !fs::exists(beside(filename, "-wal"), none);
}

bool is_name_of_journal(const std::string& filename, const std::string& other) {
  const std::string name = beside(other, "");
  for (const char* const suffix : kSuffixes) {
    if (name == beside(filename, suffix)) return true;
  }
  return false;
}

void require_own_journal(const std::string& filename) {
  // Such a journal ends in the length of a name, its checksum and these bytes.
  constexpr std::string_view kMagic = "\xd9\xd5\x05\xf9\x20\xa1\x63\xd7";
  const std::string journal = beside(filename, "-journal");
  std::error_code none;
  if (!fs::is_regular_file(journal, none)) return;
  std::ifstream input(journal, std::ios::binary);
  input.seekg(-static_cast<std::streamoff>(kMagic.size()), std::ios::end);
  std::array<char, kMagic.size()> end{};
  if (!input.read(end.data(), end.size())) return;
  if (std::string_view(end.data(), end.size()) != kMagic) return;
  throw std::runtime_error("\"" + journal +
                           "\" is not a project's: it names another file, which SQLite would "
                           "remove. Let the program that wrote it take the write back, or move it "
                           "away and check the project");
}

void require_no_journal(const std::string& filename) {
  for (const char* const suffix : {"-journal", "-wal"}) {
    const std::string journal = beside(filename, suffix);
    if (!has_bytes(journal)) continue;
    throw std::runtime_error("\"" + journal +
                             "\" lies beside it, and SQLite would take it for the new file's: open "
                             "the old file once, or remove it");
  }
}

}  // namespace korvane::sqlite
