#pragma once

#include "sqlite/finding.h"
#include "sqlite/schema_check.h"

namespace korvane::sqlite {

/// What SQLite itself finds in the file's pages, indexes and constraints; at most a hundred lines.
void check_integrity(const Database& database, FindingList& findings);

/// Throws std::runtime_error "\"<file>\" has damage: <what SQLite says>" for damage in the pages.
void require_pages(const Database& database);

/// What refers to rows that are not there, by foreign keys and, of bar spacers, without one; equal
/// end treatments and unused ones.
void check_relations(const Database& database, const FoundTables& found, FindingList& findings);

}  // namespace korvane::sqlite
