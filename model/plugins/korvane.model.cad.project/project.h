#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <Poco/Data/Session.h>
#include <boost/filesystem/path.hpp>

#include "platform/project_rpc/project_service.h"
#include "platform/rpc4/transactional.h"

namespace korvane::model::cad {

/// A project's name: the file's name without its last extension, in narrow form.
std::string project_name(const boost::filesystem::path& filename);

/// One open project: one SQLite file and one connection to it. The file is the whole of a project;
/// nothing of it is kept in memory between calls. An existing file is trusted as it stands.
///
/// Calls come one at a time, in the caller's thread: no lock is taken. Reads open no transaction;
/// a write is one transaction, stored whole or not at all by the time it returns.
class Project_Service_Impl : public Project_Service, public krv::rpc4::Transactional {
 public:
  /// Opens `filename`, or makes it with ten empty tables. A file that holds any table counts as an
  /// existing one, however its name is written and whoever made it in the meantime: nothing in it
  /// is touched. The service's id ends in a colon and `index`. Logs "<filename>: exists=<0 or 1>"
  /// at severity 0.
  ///
  /// Throws boost::filesystem::filesystem_error when the path cannot be looked up,
  /// Poco::Data::ConnectionFailedException at once when the file cannot be opened or made (a
  /// missing folder is not made), and std::runtime_error "Could not open database: <filename>".
  Project_Service_Impl(std::int32_t index, const std::string& filename);
  ~Project_Service_Impl();

  KORVANE_PROJECT_OPERATIONS(KORVANE_OVERRIDE_OPERATION)

  void begin_unit() override;
  void commit_unit() override;
  void roll_back_unit() noexcept override;
  sqlite3* connection() override;

 private:
  /// Makes the ten tables in one transaction, if the database has none. Does not roll back when it
  /// fails.
  void make_tables();

  /// Drops and makes the ten tables in one transaction. With `reset_schema` false it begins and
  /// commits an empty transaction. Does not roll back when it fails.
  void build_schema(bool reset_schema);

  std::unique_ptr<Poco::Data::Session> session_;
  std::string filename_;
  std::string name_;
};

}  // namespace korvane::model::cad
