#include "sqlite/compact.h"

#include <filesystem>
#include <stdexcept>
#include <string>

#include "sqlite/application_id.h"
#include "sqlite/database.h"
#include "sqlite/relation_check.h"
#include "sqlite/schema_check.h"

namespace korvane::sqlite {

namespace {

namespace fs = std::filesystem;

std::uint32_t application_id(const Database& database) {
  Statement id(database, "pragma application_id");
  return id.next() ? static_cast<std::uint32_t>(id.integer(0)) : 0;
}

}  // namespace

CompactResult compact_file(const std::string& filename, std::chrono::milliseconds wait) {
  if (!fs::exists(filename)) throw std::runtime_error("no project " + filename);
  if (!fs::is_regular_file(filename)) {
    throw std::runtime_error("\"" + filename + "\" is not a file");
  }
  CompactResult result;
  {
    Database database(filename, Database::Access::write);
    database.wait_for_locks(wait);
    database.distrust();
    require_project(database);
    require_pages(database);
    result.bytes_before = static_cast<std::int64_t>(fs::file_size(filename));
    // The copy that is made on the way may be larger than what there is of memory.
    database.run("pragma temp_store = default; vacuum");
    if (application_id(database) == 0) {
      database.run("pragma application_id = " + std::to_string(kApplicationId));
    }
    result.has_application_id = application_id(database) == kApplicationId;
  }
  result.bytes_after = static_cast<std::int64_t>(fs::file_size(filename));
  return result;
}

}  // namespace korvane::sqlite
