#pragma once

#include <memory>
#include <optional>
#include <string>
#include <sys/types.h>

#include "sqlite/copy_note.h"
#include "sqlite/database.h"
#include "sqlite/folder_entry.h"
#include "sqlite/standing_copy.h"

/// How a new state of a project comes into the place of the one before: the last part of every update
/// of a standing copy, wherever the state has come from.
namespace korvane::sqlite {

/// A connection that has the disk take a commit, and the removal of its journal, before it says that
/// it is done: what is noted next must be true after a loss of power.
std::unique_ptr<Database> open_copy(const std::string& copy, const CopyOptions& options);

/// Whether nobody else has changed the copy since the note was written. The copy is locked against
/// writers. Throws DatabaseError.
bool is_as_noted(const Database& copy, const std::string& header,
                 const std::optional<CopyNote>& note);

/// Gives the copy the content of `entry`, which is whole and checked. Of `note` source, time and
/// content are those of the new state. Adds to `result` whether it was written, and the copy's header.
/// Throws as update_copy does.
void put_in_place(FolderEntry& entry, const std::string& copy, CopyNote note, ::mode_t permissions,
                  StandingCopy& result, const CopyOptions& options);

}  // namespace korvane::sqlite
