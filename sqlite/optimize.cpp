#include "sqlite/optimize.h"

#include <filesystem>
#include <stdexcept>

#include "sqlite/database.h"
#include "sqlite/indexes.h"
#include "sqlite/relation_check.h"
#include "sqlite/schema_check.h"

namespace korvane::sqlite {

namespace {

namespace fs = std::filesystem;

/// Instructions of SQLite's between two questions whether to stop: less than a millisecond.
constexpr int kInstructions = 10'000;

void stop_with(const Database& database, const OptimizeOptions& options) {
  if (!options.is_stopped) return;
  // It is not written through the pointer.
  auto* const is_stopped = const_cast<std::function<bool()>*>(&options.is_stopped);
  sqlite3_progress_handler(
      database.handle(), kInstructions,
      [](void* asked) { return (*static_cast<const std::function<bool()>*>(asked))() ? 1 : 0; },
      is_stopped);
}

bool is_nothing_to_do(const FoundIndexes& found, bool is_dropping) {
  return is_dropping ? found.there.empty() && found.others.empty() : found.missing.empty();
}

void change(Database& database, const FoundIndexes& found, bool is_dropping) {
  const auto drop = [&](const std::string& name) {
    database.run("drop index main." + quoted_name(name));
  };
  if (is_dropping) {
    for (const auto* names : {&found.there, &found.others}) {
      for (const std::string& name : *names) drop(name);
    }
    return;
  }
  for (const Index& index : found.missing) {
    for (const std::string& other : found.others) {
      if (other == index.name) drop(other);
    }
    database.run(index.sql);
  }
}

std::int64_t bytes_of(const std::string& filename) {
  return static_cast<std::int64_t>(fs::file_size(filename));
}

}  // namespace

OptimizeResult optimize_file(const std::string& filename, const OptimizeOptions& options) {
  if (!fs::exists(filename)) throw std::runtime_error("no project " + filename);
  if (!fs::is_regular_file(filename)) {
    throw std::runtime_error("\"" + filename + "\" is not a file");
  }
  OptimizeResult result;
  result.bytes_before = bytes_of(filename);
  {
    Database database(filename, Database::Access::write);
    database.wait_for_locks(options.wait);
    database.distrust();
    stop_with(database, options);
    require_project(database);
    FoundIndexes found = find_indexes(database);
    result.indexes_before = found.there.size() + found.others.size();
    result.indexes_after = result.indexes_before;
    if (!is_nothing_to_do(found, options.is_dropping)) {
      if (options.are_pages_checked) require_pages(database);
      // What is sorted may be larger than what there is of memory. Pages that are written before the
      // commit would shut readers out.
      database.run("pragma temp_store = default; pragma cache_spill = off; begin immediate");
      found = find_indexes(database);
      change(database, found, options.is_dropping);
      found = find_indexes(database);
      result.indexes_after = found.there.size() + found.others.size();
      database.run("commit");
    }
  }
  result.bytes_after = bytes_of(filename);
  return result;
}

}  // namespace korvane::sqlite
