#pragma once

#include <memory>
#include <string>
#include <vector>

#include <boost/filesystem/path.hpp>

#include "host/plugins/plugin.h"
#include "platform/project_rpc/project_service.h"

namespace korvane::tools {

/// A project file opened in this process: loads the plugins of a folder and has their manager open
/// the file. Destroying the object closes the file. One at a time in a process.
class EmbeddedProject {
 public:
  /// What becomes of a file that is missing.
  enum class IfMissing { fail, make };

  /// Opens `filename`. Throws std::runtime_error
  ///
  /// - "no project <filename>" for one that is missing, with `IfMissing::fail`
  /// - "\"<filename>\" is not a korvane project: it is not a database" for a file with other
  /// content
  /// - "no plugin in <plugin_folder> opens projects"
  ///
  /// and what finding and loading the plugins and opening the file throw.
  EmbeddedProject(const boost::filesystem::path& plugin_folder, const std::string& filename,
                  IfMissing if_missing);

  /// Lives as long as this object.
  model::cad::Project_Service& service() { return *service_; }

  /// Opens one more file, beside the first. Throws as the constructor does. The project lives as
  /// long as this object.
  model::cad::Project_Service& open(const std::string& filename, IfMissing if_missing);

 private:
  std::vector<std::unique_ptr<host::Plugin>> plugins_;
  model::cad::Project_Service* service_ = nullptr;
};

/// Throws as the constructor of EmbeddedProject does for a file that is missing or has other content.
void require_project_file(const std::string& filename);

/// The folder of the plugins that were built or installed with this program: "korvane/plugins" among
/// the libraries, found from the program's own folder.
boost::filesystem::path default_plugin_folder();

}  // namespace korvane::tools
