#pragma once

#include <memory>
#include <vector>

#include <boost/dll/shared_library.hpp>
#include <boost/filesystem/path.hpp>

#include "platform/app/service.h"

namespace korvane::host {

/// A plugin library that is loaded and whose service is started. What the service offers is found
/// in the directory of live services (krv::rpc4). One thread makes, restarts and destroys it; no
/// call to its services may run meanwhile.
class Plugin {
 public:
  /// Loads `library`, finds the plugin record in its section `modsvc`, makes the service and starts
  /// it. Throws std::runtime_error "cannot load plugin <library>: <reason>", and what making and
  /// starting the service throw.
  explicit Plugin(const boost::filesystem::path& library);
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;
  /// Stops the service and releases it, then unloads the library.
  ~Plugin();

  /// Makes and starts another service of the library, then stops and releases the former one.
  /// Throws what making and starting throw; the former service then stays.
  void restart();

 private:
  boost::dll::shared_library library_;
  krv::app::ServiceFactory factory_;
  std::shared_ptr<krv::app::IService> service_;
};

/// The libraries in `folder` that have a plugin record, in the order of their names. Looks without
/// loading; skips files that are not libraries or have no record. Throws std::runtime_error
/// "no plugin folder <folder>" when it is not a folder.
std::vector<boost::filesystem::path> find_plugins(const boost::filesystem::path& folder);

/// Loads and starts the plugins of `folder`, in the order of their names. Skips libraries without a
/// plugin record, and those that cannot be read, loaded or started: these it names in the log, with
/// the reason ("cannot use plugin <library>: <reason>"). Throws std::runtime_error "no plugin
/// folder <folder>" when it is not a folder.
std::vector<std::unique_ptr<Plugin>> load_plugins(const boost::filesystem::path& folder);

}  // namespace korvane::host
