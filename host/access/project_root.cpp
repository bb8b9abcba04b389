#include "host/access/project_root.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstddef>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#include <Poco/Ascii.h>
#include <boost/algorithm/string/split.hpp>
#include <climits>

#include "host/access/folder_walk.h"
#include "platform/app/lock_probe.h"
#include "platform/log/log.h"

namespace korvane::host {

namespace {

namespace fs = std::filesystem;

constexpr int kMostEntries = 100'000;

constexpr std::string_view kUriBegin = "file:";
constexpr std::array<std::string_view, 3> kSideFileEndings = {"-journal", "-wal", "-shm"};
constexpr std::size_t kLongestName = NAME_MAX - kSideFileEndings[0].size();
constexpr std::size_t kLongestPath = PATH_MAX - 1 - kSideFileEndings[0].size();

/// Longer names are cut in a failure's text.
constexpr std::size_t kLongestNameShown = 120;

bool is_control(wchar_t code) { return code < 0x20 || (code >= 0x7F && code < 0xA0); }

/// Whether a file by that name is a copy that is not whole yet, or what is noted of one.
bool is_beside_copy(std::string_view name) {
  return name.starts_with('.') && (name.ends_with(".part") || name.ends_with(".copy"));
}

/// Whether there are only printable characters of ASCII.
bool is_plain(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

/// Whether the texts differ in nothing but the case of ASCII letters.
bool is_same(std::string_view left, std::string_view right) {
  return left.size() == right.size() &&
         std::equal(left.begin(), left.end(), right.begin(), [](char a, char b) {
           return Poco::Ascii::toLower(a) == Poco::Ascii::toLower(b);
         });
}

/// `filename` as a failure shows it: control characters and bytes that are not UTF-8 as `?`.
std::string quoted(std::string_view filename) {
  std::wstring text = krv::log::widen(filename.substr(0, kLongestNameShown * 4));
  const bool is_cut = text.size() > kLongestNameShown;
  if (is_cut) text.resize(kLongestNameShown);
  std::replace_if(
      text.begin(), text.end(), [](wchar_t code) { return is_control(code) || code == L'\xFFFD'; },
      L'?');
  return '"' + krv::log::narrow(text) + (is_cut ? "…\"" : "\"");
}

/// One name on its way into the root.
class Confinement {
 public:
  Confinement(const fs::path& root, std::string_view filename) : root_(root), filename_(filename) {}

  std::string run() const {
    std::string result = resolve(elements_of_text());
    if (result != filename_) check_meaning(result);
    return result;
  }

  /// What can be told without a look at the root.
  std::vector<std::string> elements_of_text() const {
    check_text();
    return elements();
  }

 private:
  [[noreturn]] void refuse(const std::string& expected) const {
    throw ConfinementError("file name " + quoted(filename_) + " is refused: expected " + expected);
  }

  void check_text() const {
    if (!is_plain(filename_)) check_characters();
    if (filename_.size() > kLongestPath) {
      refuse("at most " + std::to_string(kLongestPath) + " bytes");
    }
    if (filename_.front() == '/') refuse("a path relative to the project folder");
    check_meaning(filename_);
  }

  void check_characters() const {
    const std::wstring text = krv::log::widen(filename_);
    if (krv::log::narrow(text) != filename_) refuse("UTF-8");
    if (std::any_of(text.begin(), text.end(), is_control)) refuse("no control characters");
  }

  /// Refuses what SQLite would take for something else than a database's own file, both in the name
  /// sent and in the one returned: "./:memory:" has become one, and so may a link's end.
  void check_meaning(std::string_view name) const {
    if (is_same(name.substr(0, kUriBegin.size()), kUriBegin)) refuse("a path, not a URI");
    if (is_same(name, ":memory:")) refuse("the name of a file");
    const std::string_view last = name.substr(name.rfind('/') + 1);
    if (krv::app::is_lock_probe(last)) refuse("no name of a file on which locks are tried");
    if (is_beside_copy(last)) refuse("no name of what lies beside a copy");
    for (const std::string_view ending : kSideFileEndings) {
      if (name.size() >= ending.size() &&
          is_same(name.substr(name.size() - ending.size()), ending)) {
        refuse("no name that SQLite keeps for itself (" + std::string(ending) + ")");
      }
    }
  }

  std::vector<std::string> elements() const {
    std::vector<std::string> elements;
    boost::algorithm::split(elements, filename_, [](char c) { return c == '/'; });
    if (elements.back().empty() || elements.back() == ".") refuse("a file, not a folder");
    for (const std::string& element : elements) {
      if (element == "..") refuse("a path without \"..\"");
      if (element.size() > kLongestName) {
        refuse("names of at most " + std::to_string(kLongestName) + " bytes each");
      }
    }
    std::erase_if(elements, [](const std::string& e) { return e.empty() || e == "."; });
    return elements;
  }

  /// Follows the path one element at a time, so that nothing outside is ever looked at but the end
  /// of a link, and that with one answer whether it is there or not. Returns its path inside.
  std::string resolve(const std::vector<std::string>& elements) const {
    std::string here;
    for (const std::string& element : elements) {
      const bool is_last = &element == &elements.back();
      if (!here.empty()) here += '/';
      here += element;
      fs::file_type type = type_of(here);
      if (type == fs::file_type::symlink) {
        here = end_of_link(here);
        type = type_of(here);
      }
      if (!is_last && type != fs::file_type::directory) refuse("a folder that is there");
      if (is_last && type == fs::file_type::directory) refuse("a file, not a folder");
      if (is_last && type != fs::file_type::regular && type != fs::file_type::not_found) {
        refuse("a regular file");
      }
    }
    return here;
  }

  fs::file_type type_of(const std::string& inside) const {
    std::error_code failure;
    const fs::file_type type = fs::symlink_status(root_ / inside, failure).type();
    if (type == fs::file_type::none) refuse("a path that can be looked up");
    return type;
  }

  std::string end_of_link(const std::string& link) const {
    std::error_code failure;
    const fs::path end = fs::canonical(root_ / link, failure);
    const fs::path inside = end.lexically_relative(root_);
    if (failure || *inside.begin() == "..") {
      refuse("no link that leads out of the project folder, or nowhere");
    }
    return inside == "." ? "" : inside.string();
  }

  const fs::path& root_;
  std::string_view filename_;
};

}  // namespace

ProjectRoot::ProjectRoot(const fs::path& folder) {
  std::error_code failure;
  root_ = fs::canonical(folder, failure);
  if (failure || !fs::is_directory(root_, failure)) {
    throw std::runtime_error("project root " + folder.string() + " is not a folder");
  }
}

std::string ProjectRoot::confine(std::string_view filename) const {
  if (filename.empty()) return {};
  return Confinement(root_, filename).run();
}

void ProjectRoot::require_name(std::string_view filename) {
  if (!filename.empty()) Confinement({}, filename).elements_of_text();
}

bool ProjectRoot::exists(std::string_view confined) const {
  return number_of(confined).has_value();
}

std::optional<FileNumber> ProjectRoot::number_of(std::string_view confined) const {
  struct stat status {};
  const bool is_there = !confined.empty() && ::stat((root_ / confined).c_str(), &status) == 0 &&
                        S_ISREG(status.st_mode);
  if (!is_there) return std::nullopt;
  return FileNumber{status.st_dev, status.st_ino};
}

void ProjectRoot::remove_if_empty(std::string_view confined) const {
  const fs::path file = root_ / confined;
  const int descriptor = ::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) return;
  // The system gives a lease for writing on what nobody else has open, and has others wait until it
  // is given back. It would report them by SIGIO, which ends a process.
  struct stat status {};
  if (::fcntl(descriptor, F_SETSIG, SIGURG) == 0 && ::fcntl(descriptor, F_SETLEASE, F_WRLCK) == 0 &&
      ::fstat(descriptor, &status) == 0 && status.st_size == 0) {
    ::unlink(file.c_str());
  }
  ::close(descriptor);
}

std::optional<ProjectFile> ProjectRoot::project_at(const fs::directory_entry& entry) const {
  std::error_code ignored;
  if (!entry.is_regular_file(ignored)) return std::nullopt;
  // Before anything of it is read.
  if (is_beside_copy(entry.path().filename().string())) return std::nullopt;
  if (!begins_as_database(entry.path())) return std::nullopt;
  const std::string name = entry.path().lexically_relative(root_).string();
  // A name that clients cannot ask for is not listed.
  try {
    if (confine(name) != name) return std::nullopt;
  } catch (const ConfinementError&) {
    return std::nullopt;
  }
  struct stat status {};
  if (::stat(entry.path().c_str(), &status) != 0) return std::nullopt;
  const auto changed = std::chrono::seconds(status.st_mtim.tv_sec) +
                       std::chrono::microseconds(status.st_mtim.tv_nsec / 1000);
  return ProjectFile{name, static_cast<std::uintmax_t>(status.st_size),
                     std::chrono::system_clock::time_point(changed)};
}

std::vector<ProjectFile> ProjectRoot::list() const {
  std::vector<ProjectFile> files;
  int entries = 0;
  walk_folder(root_, {.visit = [&](const fs::directory_entry& entry) {
                if (auto file = project_at(entry)) files.push_back(std::move(*file));
                return ++entries < kMostEntries;
              }});
  std::sort(files.begin(), files.end(), [](const ProjectFile& left, const ProjectFile& right) {
    return left.name < right.name;
  });
  return files;
}

}  // namespace korvane::host
