#include "tools/korvane/output_file.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <ios>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace korvane::tools {

namespace {

namespace fs = std::filesystem;

/// What a new file may be used for, by all that this process gives away.
mode_t usual_mode() {
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return 0666 & ~mask;
}

/// Has the disk the file's bytes before its name says that they are there?
bool sync(const std::string& path) {
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  const bool is_done = ::fsync(file) == 0;
  const int reason = errno;
  ::close(file);
  errno = reason;
  return is_done;
}

}  // namespace

OutputFile::OutputFile(std::string filename) : filename_(std::move(filename)) {
  std::error_code failure;
  const fs::path resolved = fs::weakly_canonical(filename_, failure);
  target_ = failure ? filename_ : resolved.string();
  struct stat before {};
  const bool exists = ::stat(target_.c_str(), &before) == 0;
  if (exists && S_ISDIR(before.st_mode)) {
    errno = EISDIR;
    fail();
  }
  if (exists && !S_ISREG(before.st_mode)) {
    path_ = target_;
  } else {
    const fs::path target(target_);
    path_ = (target.parent_path() / ("." + target.filename().string() + ".XXXXXX")).string();
    const int file = ::mkostemp(path_.data(), O_CLOEXEC);
    if (file < 0) fail();
    is_temporary_ = true;
    // Before it has the permissions of the one before, which may be for reading only.
    stream_.open(path_, std::ios::binary);
    ::fchmod(file, exists ? before.st_mode & 07777 : usual_mode());
    ::close(file);
  }
  if (!stream_.is_open()) stream_.open(path_, std::ios::binary);
  if (stream_) return;
  const int reason = errno;
  if (is_temporary_) ::unlink(path_.c_str());
  errno = reason;
  fail();
}

OutputFile::~OutputFile() {
  if (is_temporary_) ::unlink(path_.c_str());
}

void OutputFile::fail() const {
  throw std::runtime_error("cannot write " + filename_ + ": " +
                           std::system_category().message(errno));
}

void OutputFile::write(std::string_view text) {
  stream_.write(text.data(), static_cast<std::streamsize>(text.size()));
  if (!stream_) fail();
}

void OutputFile::finish() {
  stream_.close();
  if (!stream_) fail();
  if (!is_temporary_) return;
  if (!sync(path_) || ::rename(path_.c_str(), target_.c_str()) != 0) fail();
  is_temporary_ = false;
}

}  // namespace korvane::tools
