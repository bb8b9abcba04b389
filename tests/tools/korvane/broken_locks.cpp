// A file system that is not fit to be shared, for a program that has this library loaded before its
// own: KORVANE_BROKEN_LOCKS says what is wrong with it. Only files on which locks are tried are
// meant. Nothing is synced, so that tests do not wait for the disk.
//
//     granted         every lock is granted, and none is kept
//     readers_only    locks for reading are granted, and none is kept
//     kept            no lock is given back before the file is closed
//     stale_reads     what was read once is read again, until the process writes to the file itself
//     stale_size      so is the size of the file
//     hidden_journal  a journal that another process has made is not there

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <map>
#include <set>
#include <string>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

namespace {

template <class Function>
Function* system_call(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

bool is(const char* fault) {
  const char* const wanted = std::getenv("KORVANE_BROKEN_LOCKS");
  return wanted != nullptr && std::strcmp(wanted, fault) == 0;
}

/// Whether the path is that of such a file, or with "-journal" of its journal.
bool is_probe(const std::string& path, const std::string& ending) {
  constexpr std::size_t kName = 31;  // ".korvane-locks-" and 16 digits
  const std::size_t begin = path.rfind("/.korvane-locks-");
  return begin != std::string::npos && path.substr(begin + 1).size() == kName + ending.size() &&
         path.ends_with(ending);
}

bool is_probe(int file) {
  char path[4096];
  const ::ssize_t size =
      ::readlink(("/proc/self/fd/" + std::to_string(file)).c_str(), path, sizeof path);
  return size > 0 && is_probe(std::string(path, static_cast<std::size_t>(size)), "");
}

using Part = std::tuple<long, long, std::size_t>;

// Never destroyed: files are used until the process ends.
auto& parts = *new std::map<Part, std::string>();
auto& sizes = *new std::map<long, long>();
auto& own_journals = *new std::set<std::string>();

/// Of a file, which tells it apart.
struct stat status_of(int file) {
  struct stat status {};
  system_call<int(int, struct stat*)>("fstat")(file, &status);
  return status;
}

void forget(int file) {
  const long inode = static_cast<long>(status_of(file).st_ino);
  sizes.erase(inode);
  std::erase_if(parts, [&](const auto& part) { return std::get<0>(part.first) == inode; });
}

bool is_hidden(const char* path) {
  return is("hidden_journal") && is_probe(path, "-journal") && own_journals.count(path) == 0;
}

int locked(int file, int command, struct flock* lock) {
  if (command == F_SETLK && is_probe(file)) {
    if (is("granted")) return 0;
    if (is("readers_only") && lock->l_type == F_RDLCK) lock->l_type = F_UNLCK;
    if (is("kept") && lock->l_type != F_WRLCK) return 0;
  }
  return system_call<int(int, int, ...)>("fcntl64")(file, command, lock);
}

template <class Status>
int shown_size(int result, int file, Status* status) {
  if (result == 0 && is("stale_size") && is_probe(file)) {
    status->st_size = sizes.emplace(status->st_ino, status->st_size).first->second;
  }
  return result;
}

}  // namespace

extern "C" {

int fcntl64(int file, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (command == F_SETLK) return locked(file, command, static_cast<struct flock*>(argument));
  return system_call<int(int, int, ...)>("fcntl64")(file, command, argument);
}

::ssize_t pread64(int file, void* bytes, std::size_t count, off64_t offset) {
  const auto read = [&] {
    return system_call<::ssize_t(int, void*, std::size_t, off64_t)>("pread64")(file, bytes, count,
                                                                               offset);
  };
  if (!is("stale_reads") || !is_probe(file)) return read();
  const Part part{static_cast<long>(status_of(file).st_ino), offset, count};
  const auto found = parts.find(part);
  if (found != parts.end()) {
    std::memcpy(bytes, found->second.data(), found->second.size());
    return static_cast<::ssize_t>(found->second.size());
  }
  const ::ssize_t result = read();
  if (result > 0) {
    parts[part] = std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(result));
  }
  return result;
}

::ssize_t pwrite64(int file, const void* bytes, std::size_t count, off64_t offset) {
  if (is_probe(file)) forget(file);
  return system_call<::ssize_t(int, const void*, std::size_t, off64_t)>("pwrite64")(file, bytes,
                                                                                    count, offset);
}

int ftruncate64(int file, off64_t size) noexcept {
  if (is_probe(file)) forget(file);
  return system_call<int(int, off64_t)>("ftruncate64")(file, size);
}

int fstat64(int file, struct stat64* status) noexcept {
  return shown_size(system_call<int(int, struct stat64*)>("fstat64")(file, status), file, status);
}

int open64(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const int mode = va_arg(arguments, int);
  va_end(arguments);
  if ((flags & O_CREAT) != 0 && is_probe(path, "-journal")) own_journals.insert(path);
  if (is_hidden(path)) {
    errno = ENOENT;
    return -1;
  }
  return system_call<int(const char*, int, ...)>("open64")(path, flags, mode);
}

int access(const char* path, int mode) noexcept {
  if (is_hidden(path)) {
    errno = ENOENT;
    return -1;
  }
  return system_call<int(const char*, int)>("access")(path, mode);
}

int stat64(const char* path, struct stat64* status) noexcept {
  if (is_hidden(path)) {
    errno = ENOENT;
    return -1;
  }
  return system_call<int(const char*, struct stat64*)>("stat64")(path, status);
}

int stat(const char* path, struct stat* status) noexcept {
  if (is_hidden(path)) {
    errno = ENOENT;
    return -1;
  }
  return system_call<int(const char*, struct stat*)>("stat")(path, status);
}

int unlink(const char* path) noexcept {
  own_journals.erase(path);
  return system_call<int(const char*)>("unlink")(path);
}

int fsync(int) { return 0; }
int fdatasync(int) { return 0; }

}  // extern "C"
