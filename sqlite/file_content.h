#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "sqlite/database.h"

/// What the bytes of a database tell of its content.
namespace korvane::sqlite {

inline constexpr std::size_t kHeaderBytes = 100;

/// The length of the file in bytes, and its bytes as they are on the disk, read by way of SQLite: the
/// connection keeps its locks. The database must be locked against writers. Throw DatabaseError.
std::size_t file_size_of(const Database& database);
void read_bytes(const Database& database, char* bytes, std::size_t size, std::size_t offset);

/// The first bytes of a file, fewer if it is shorter. None if it cannot be read, or is no regular
/// file, with the reason in `errno`. Never waits. Not for a database that this program has open: the
/// system would drop its locks.
std::optional<std::string> first_bytes(const std::string& filename, std::size_t most);

/// The first hundred bytes of the file, with which every commit outside of a write-ahead log begins
/// anew; fewer where it has fewer. Read by way of SQLite: the connection keeps its locks, and what it
/// has not committed is not in it. Throws DatabaseError.
std::string header_of(const Database& database);

/// The same by first_bytes; empty for a file that cannot be read.
std::string header_of(const std::string& filename);

/// Whether it is the header of a database.
bool is_header(const std::string& header);
bool is_write_ahead_header(const std::string& header);

/// How many changes the database has seen, as its header says. A commit counts one up.
std::uint32_t change_counter(const std::string& header);

/// SHA-256 of all bytes, in hexadecimal, without what counts changes: of two files with the same
/// one, the one is a copy of the other, by whatever means it was made. The database must be locked
/// against writers. Throws DatabaseError and std::runtime_error.
std::string content_digest(const Database& database);

}  // namespace korvane::sqlite
