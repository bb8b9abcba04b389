#include "sqlite/copy_placement.h"

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <utility>

#include "sqlite/file_content.h"
#include "sqlite/journal_files.h"
#include "sqlite/page_copy.h"

namespace korvane::sqlite {

namespace {

namespace fs = std::filesystem;
using Access = Database::Access;

std::string in_quotes(const std::string& name) { return "\"" + name + "\""; }

std::uint64_t number_of_file(const std::string& file) {
  struct stat status {};
  return ::stat(file.c_str(), &status) == 0 ? status.st_ino : 0;
}

/// Whether the copy is just as its note says.
bool is_settled(const Database& copy, const std::string& header, const CopyNote& note) {
  if (header != note.header) return false;
  // Another file may have a header like it, and this one may have been copied itself.
  return note.file == number_of_file(copy.filename()) || content_digest(copy) == note.content;
}

void set_permissions(const std::string& file, ::mode_t permissions) {
  struct stat status {};
  if (::stat(file.c_str(), &status) != 0 || (status.st_mode & 07777) == permissions) return;
  if (::chmod(file.c_str(), permissions) != 0) {
    throw std::runtime_error("cannot write " + in_quotes(file) + ": " +
                             std::system_category().message(errno));
  }
}

/// One update of a copy that is there: the pages of `part` take the place of its own.
void put_pages_in_place(const Database& part, const std::string& copy, CopyNote note,
                        ::mode_t permissions, StandingCopy& result, const CopyOptions& options) {
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
        write_note(copy, note, permissions);
        result.header = note.header;
        return;
      }
    }
    if (!is_own) throw WrittenElsewhere(copy);
    note.next = std::exchange(note.content, noted->content);
    write_note(copy, note, permissions);
    pages.finish(options);
  }
  destination->run("begin; select count(*) from sqlite_schema");
  const std::string header = header_of(*destination);
  if (change_counter(header) != change_counter(note.header) + 1) throw WrittenElsewhere(copy);
  destination->run("rollback");
  note.header = header;
  note.content = std::exchange(note.next, {});
  write_note(copy, note, permissions);
  result.header = header;
  result.is_written = true;
}

}  // namespace

std::unique_ptr<Database> open_copy(const std::string& copy, const CopyOptions& options) {
  auto database = std::make_unique<Database>(copy, Access::write);
  database->wait_for_locks(options.wait);
  database->distrust();
  database->run("pragma synchronous = extra");
  return database;
}

bool is_as_noted(const Database& copy, const std::string& header,
                 const std::optional<CopyNote>& note) {
  if (!note) return false;
  if (is_settled(copy, header, *note)) return true;
  // Whoever was putting another content in its place has not come to note that.
  return !note->next.empty() && change_counter(header) == change_counter(note->header) + 1 &&
         content_digest(copy) == note->next;
}

void put_in_place(FolderEntry& entry, const std::string& copy, CopyNote note, ::mode_t permissions,
                  StandingCopy& result, const CopyOptions& options) {
  auto part = std::make_unique<Database>(entry.path(), Access::read);
  if (fs::exists(copy)) {
    put_pages_in_place(*part, copy, std::move(note), permissions, result, options);
    set_permissions(copy, permissions);
    return;
  }
  note.header = header_of(*part);
  note.file = number_of_file(entry.path());
  part.reset();
  require_no_journal(copy);
  write_note(copy, note, permissions);
  entry.put_in_place(FolderEntry::IfThere::fail);
  result.header = note.header;
  result.is_written = true;
}

}  // namespace korvane::sqlite
