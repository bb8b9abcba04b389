#pragma once

#include <string>

/// What SQLite keeps beside a database. It lies where a link to the database leads.
namespace korvane::sqlite {

/// Whether there is something in the file that SQLite keeps beside `filename` under its name and
/// `suffix`, such as "-wal".
bool has_beside(const std::string& filename, const char* suffix);

/// Whether the header of the file says that it is in write-ahead mode. Not for a file that this
/// program has open: the system would drop its locks.
bool is_write_ahead(const std::string& filename);

/// Whether the file is in write-ahead mode and has no log: nobody has it open. A reader that may
/// only read would make two files beside it and leave them there; one that may write removes them.
bool is_log_at_rest(const std::string& filename);

/// Whether `other` is a name that SQLite uses beside `filename`.
bool is_name_of_journal(const std::string& filename, const std::string& other);

/// Throws std::runtime_error if the journal beside the database says that it is part of a write to
/// several databases, as no project's is: "\"<name>-journal\" is not a project's: …". It names
/// another file then, which SQLite removes once it has taken the write back, whatever that file is.
void require_own_journal(const std::string& filename);

/// Throws std::runtime_error if SQLite would take changes into a new file of this name from what an
/// earlier one has left: "\"<name>-journal\" lies beside it …".
void require_no_journal(const std::string& filename);

}  // namespace korvane::sqlite
