#include "sqlite/standing_copy.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include "sqlite/copy_note.h"
#include "sqlite/copy_placement.h"
#include "sqlite/database.h"
#include "sqlite/file_content.h"
#include "sqlite/project_state.h"

namespace korvane::sqlite {

namespace {

namespace fs = std::filesystem;

std::string in_quotes(const std::string& name) { return "\"" + name + "\""; }

}  // namespace

WrittenElsewhere::WrittenElsewhere(const std::string& copy)
    : std::runtime_error(
          in_quotes(copy) +
          " is not as it was copied: another program has written to it, or put it there. It is "
          "left "
          "as it is, and does not follow its project any more; to have it follow again, move it "
          "away") {}

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
  ProjectState state = take_state(project, copy, options);
  StandingCopy result;
  result.taken = state.taken;
  result.source = state.source;
  result.bytes = state.bytes;
  result.findings = std::move(state.findings);
  CopyNote note;
  note.source = std::move(state.source);
  note.taken = state.taken;
  note.content = std::move(state.content);
  put_in_place(*state.file, copy, std::move(note), state.permissions, result, options);
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
