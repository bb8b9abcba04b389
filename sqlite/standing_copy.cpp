#include "sqlite/standing_copy.h"

#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <sys/stat.h>
#include <system_error>
#include <utility>

#include <boost/algorithm/hex.hpp>

#include "sqlite/copy_note.h"
#include "sqlite/database.h"
#include "sqlite/file_content.h"
#include "sqlite/folder_entry.h"
#include "sqlite/journal_files.h"
#include "sqlite/page_copy.h"
#include "sqlite/schema_check.h"

namespace korvane::sqlite {

namespace {

namespace fs = std::filesystem;
using Access = Database::Access;
using std::chrono::system_clock;

/// A log that was written later than this may be written again without looking otherwise: file
/// systems tell the time in steps.
constexpr std::chrono::seconds kStepOfTime(2);

std::string in_quotes(const std::string& name) { return "\"" + name + "\""; }

std::string time_text(const timespec& time) {
  return std::to_string(time.tv_sec) + '.' + std::to_string(time.tv_nsec);
}

/// What the system knows of a file. Empty for one that is not there.
std::string status_text(const std::string& file) {
  struct stat status {};
  if (::stat(file.c_str(), &status) != 0) return {};
  return std::to_string(status.st_ino) + ' ' + std::to_string(status.st_size) + ' ' +
         time_text(status.st_mtim) + ' ' + time_text(status.st_ctim);
}

std::uint64_t number_of_file(const std::string& file) {
  struct stat status {};
  return ::stat(file.c_str(), &status) == 0 ? status.st_ino : 0;
}

std::string log_of(const std::string& project) { return project + "-wal"; }

/// Whether something is in the log that was written just now.
bool is_log_fresh(const std::string& project) {
  struct stat status {};
  if (::stat(log_of(project).c_str(), &status) != 0 || status.st_size == 0) return false;
  const auto written = system_clock::from_time_t(status.st_mtim.tv_sec);
  return written + kStepOfTime > system_clock::now();
}

std::string look_text(const std::string& project, const std::string& header,
                      const std::string& log) {
  const std::string status = status_text(project);
  if (status.empty()) return {};
  std::string text = status + " | ";
  boost::algorithm::hex_lower(header, std::back_inserter(text));
  return text + " | " + log;
}

/// Whether the copy is just as its note says.
bool is_settled(const Database& copy, const std::string& header, const CopyNote& note) {
  if (header != note.header) return false;
  // Another file may have a header like it, and this one may have been copied itself.
  return note.file == number_of_file(copy.filename()) || content_digest(copy) == note.content;
}

/// Whether nobody else has changed the copy since the note was written. The copy is locked.
bool is_as_noted(const Database& copy, const std::string& header,
                 const std::optional<CopyNote>& note) {
  if (!note) return false;
  if (is_settled(copy, header, *note)) return true;
  // Whoever was putting another content in its place has not come to note that.
  return !note->next.empty() && change_counter(header) == change_counter(note->header) + 1 &&
         content_digest(copy) == note->next;
}

void copy_permissions(const std::string& from, const std::string& to) {
  struct stat source {};
  struct stat target {};
  if (::stat(from.c_str(), &source) != 0 || ::stat(to.c_str(), &target) != 0) return;
  if ((source.st_mode & 07777) == (target.st_mode & 07777)) return;
  if (::chmod(to.c_str(), source.st_mode & 07777) != 0) {
    throw std::runtime_error("cannot write " + in_quotes(to) + ": " +
                             std::system_category().message(errno));
  }
}

/// A connection that has the disk take a commit, and the removal of its journal, before it says that
/// it is done: what is noted next must be true after a loss of power.
std::unique_ptr<Database> open_copy(const std::string& copy, const CopyOptions& options) {
  auto database = std::make_unique<Database>(copy, Access::write);
  database->wait_for_locks(options.wait);
  database->distrust();
  database->run("pragma synchronous = extra");
  return database;
}

/// One update of a copy that is there: the pages of `part` take the place of its own.
void put_pages_in_place(const Database& part, const std::string& copy, CopyNote note,
                        const std::string& project, StandingCopy& result,
                        const CopyOptions& options) {
  const std::optional<CopyNote> noted = read_note(copy);
  const std::unique_ptr<Database> destination = open_copy(copy, options);
  {
    PageCopy pages(part, *destination);
    pages.lock();
    note.header = header_of(*destination);
    note.file = number_of_file(copy);
    const bool is_own = is_as_noted(*destination, note.header, noted);
    if (!is_own || noted->content == note.content || noted->next == note.content) {
      // What somebody else has put there is as good if it says the same.
      if (!is_write_ahead_header(note.header) && content_digest(*destination) == note.content) {
        write_note(copy, note, project);
        result.header = note.header;
        return;
      }
    }
    if (!is_own) throw WrittenElsewhere(copy);
    note.next = std::exchange(note.content, noted->content);
    write_note(copy, note, project);
    pages.finish(options);
  }
  destination->run("begin; select count(*) from sqlite_schema");
  const std::string header = header_of(*destination);
  if (change_counter(header) != change_counter(note.header) + 1) throw WrittenElsewhere(copy);
  destination->run("rollback");
  note.header = header;
  note.content = std::exchange(note.next, {});
  write_note(copy, note, project);
  result.header = header;
  result.is_written = true;
}

}  // namespace

WrittenElsewhere::WrittenElsewhere(const std::string& copy)
    : std::runtime_error(
          in_quotes(copy) +
          " is not as it was copied: another program has written to it, or put it there. It is "
          "left "
          "as it is, and does not follow its project any more; to have it follow again, move it "
          "away") {}

std::string look_of(const std::string& project) {
  std::string log = status_text(log_of(project));
  return look_text(project, header_of(project), log);
}

StandingCopy update_copy(const std::string& project, const std::string& copy,
                         const CopyOptions& options) {
  std::error_code none;
  const fs::file_status there = fs::status(copy, none);
  if (fs::exists(there) && !fs::is_regular_file(there)) {
    throw std::runtime_error(in_quotes(copy) + " is not a file");
  }
  if (fs::equivalent(project, copy, none)) {
    throw std::runtime_error(in_quotes(copy) + " is the project itself, by a link");
  }
  StandingCopy result;
  result.taken = system_clock::now();
  const bool is_fresh = is_log_fresh(project);
  const std::string log = status_text(log_of(project));
  std::unique_ptr<Database> source = begin_reading(project, options);
  require_project(*source);
  if (!is_fresh) result.source = look_text(project, header_of(*source), log);
  FolderEntry entry(copy, project);
  const CheckReport report = copy_to_entry(*source, entry, options);
  source.reset();
  result.bytes = report.pages * report.page_bytes;
  result.findings = without_notes(report);

  CopyNote note;
  note.source = result.source;
  note.taken = result.taken;
  auto part = std::make_unique<Database>(entry.path(), Access::read);
  note.content = content_digest(*part);
  if (fs::exists(there)) {
    put_pages_in_place(*part, copy, note, project, result, options);
    copy_permissions(project, copy);
    return result;
  }
  note.header = header_of(*part);
  note.file = number_of_file(entry.path());
  part.reset();
  require_no_journal(copy);
  write_note(copy, note, project);
  entry.put_in_place(FolderEntry::IfThere::fail);
  result.header = note.header;
  result.is_written = true;
  return result;
}

void remove_copy(const std::string& copy, const CopyOptions& options) {
  const std::optional<CopyNote> note = read_note(copy);
  const std::unique_ptr<Database> database = open_copy(copy, options);
  database->run("begin exclusive");
  if (!is_as_noted(*database, header_of(*database), note)) throw WrittenElsewhere(copy);
  std::error_code failure;
  fs::remove(copy, failure);
  if (failure) {
    throw std::runtime_error("cannot remove " + in_quotes(copy) + ": " + failure.message());
  }
  remove_note(copy);
}

}  // namespace korvane::sqlite
