#pragma once

#include <memory>
#include <string>
#include <vector>

#include <boost/filesystem/path.hpp>

#include "host/plugins/plugin.h"
#include "platform/project_rpc/project_service.h"

namespace korvane::tool {

/// A project file opened in this process: loads the plugins of a folder and asks the manager among
/// them to open the file. Closed with the object.
class EmbeddedProject {
 public:
  /// What becomes of a file that is not there.
  enum class IfMissing { fail, make };

  /// Opens `filename`. Throws std::runtime_error "no project <filename>" for one that is missing
  /// and is not to be made, "\"<filename>\" is not a korvane project: …" for a file that is no
  /// database, when the folder holds no plugin that opens projects, and what loading and opening
  /// throw.
  EmbeddedProject(const boost::filesystem::path& plugin_folder, const std::string& filename,
                  IfMissing if_missing);

  model::cad::Project_Service& service() { return *service_; }

 private:
  std::vector<std::unique_ptr<host::Plugin>> plugins_;
  model::cad::Project_Service* service_ = nullptr;
};

/// Where the plugins lie beside this program: `plugins` in the folder above the program's own.
boost::filesystem::path default_plugin_folder();

}  // namespace korvane::tool
