#include "sqlite/file_content.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <iterator>
#include <memory>
#include <openssl/evp.h>
#include <stdexcept>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <boost/algorithm/hex.hpp>

namespace korvane::sqlite {

namespace {

constexpr std::string_view kMagic{"SQLite format 3\0", 16};
constexpr std::size_t kReadVersion = 19;
constexpr char kWriteAhead = 2;
constexpr std::size_t kChangeCounter = 24;

struct Field {
  std::size_t offset;
  std::size_t size;
};

/// What differs between a database and its copy: the counter of changes, the schema's, and the
/// change and the version of SQLite that the header was last written with.
constexpr std::array<Field, 3> kCounters = {{{24, 4}, {40, 4}, {92, 8}}};

sqlite3_file& file_of(const Database& database) {
  sqlite3_file* file = nullptr;
  const int code =
      sqlite3_file_control(database.handle(), "main", SQLITE_FCNTL_FILE_POINTER, &file);
  if (code != SQLITE_OK || file == nullptr || file->pMethods == nullptr) {
    throw DatabaseError("\"" + database.filename() + "\" has no file", SQLITE_CANTOPEN);
  }
  return *file;
}

[[noreturn]] void fail(const Database& database, int code) {
  throw DatabaseError("\"" + database.filename() + "\": " + sqlite3_errstr(code), code);
}

void require(bool is_done) {
  if (!is_done) throw std::runtime_error("SHA-256 is not to be had from OpenSSL");
}

}  // namespace

std::size_t file_size_of(const Database& database) {
  sqlite3_file& file = file_of(database);
  sqlite3_int64 size = 0;
  const int code = file.pMethods->xFileSize(&file, &size);
  if (code != SQLITE_OK) fail(database, code);
  return static_cast<std::size_t>(size);
}

void read_bytes(const Database& database, char* bytes, std::size_t size, std::size_t offset) {
  sqlite3_file& file = file_of(database);
  const int code = file.pMethods->xRead(&file, bytes, static_cast<int>(size),
                                        static_cast<sqlite3_int64>(offset));
  if (code != SQLITE_OK) fail(database, code);
}

std::string header_of(const Database& database) {
  std::string header(std::min(kHeaderBytes, file_size_of(database)), '\0');
  if (!header.empty()) read_bytes(database, header.data(), header.size(), 0);
  return header;
}

std::optional<std::string> first_bytes(const std::string& filename, std::size_t most) {
  // A pipe would have its opener wait for a writer.
  const int file = ::open(filename.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) return std::nullopt;
  std::string bytes(most, '\0');
  struct stat status {};
  ::ssize_t size = ::fstat(file, &status);
  if (size == 0 && !S_ISREG(status.st_mode)) {
    errno = EINVAL;
    size = -1;
  }
  if (size == 0) size = ::pread(file, bytes.data(), bytes.size(), 0);
  const int reason = errno;
  ::close(file);
  errno = reason;
  if (size < 0) return std::nullopt;
  bytes.resize(static_cast<std::size_t>(size));
  return bytes;
}

std::string header_of(const std::string& filename) {
  return first_bytes(filename, kHeaderBytes).value_or("");
}

bool is_header(const std::string& header) {
  return header.size() == kHeaderBytes && header.starts_with(kMagic);
}

bool is_write_ahead_header(const std::string& header) {
  return header.size() == kHeaderBytes && header[kReadVersion] == kWriteAhead;
}

std::uint32_t change_counter(const std::string& header) {
  std::uint32_t counter = 0;
  if (header.size() < kHeaderBytes) return counter;
  for (std::size_t i = kChangeCounter; i < kChangeCounter + sizeof counter; ++i) {
    counter = counter << 8U | static_cast<unsigned char>(header[i]);
  }
  return counter;
}

std::string content_digest(const Database& database) {
  constexpr std::size_t kPiece = std::size_t{1} << 20U;
  const std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> digest(EVP_MD_CTX_new(),
                                                                  &EVP_MD_CTX_free);
  require(digest && EVP_DigestInit_ex(digest.get(), EVP_sha256(), nullptr) == 1);
  const std::size_t size = file_size_of(database);
  std::vector<char> piece(std::min(size, kPiece));
  for (std::size_t offset = 0; offset < size; offset += kPiece) {
    const std::size_t count = std::min(kPiece, size - offset);
    read_bytes(database, piece.data(), count, offset);
    for (const Field& field : kCounters) {
      if (offset != 0 || field.offset + field.size > count) continue;
      std::fill_n(piece.begin() + static_cast<std::ptrdiff_t>(field.offset), field.size, '\0');
    }
    require(EVP_DigestUpdate(digest.get(), piece.data(), count) == 1);
  }
  std::array<unsigned char, EVP_MAX_MD_SIZE> bytes{};
  unsigned int count = 0;
  require(EVP_DigestFinal_ex(digest.get(), bytes.data(), &count) == 1);
  std::string text;
  boost::algorithm::hex_lower(bytes.begin(), bytes.begin() + count, std::back_inserter(text));
  return text;
}

}  // namespace korvane::sqlite
