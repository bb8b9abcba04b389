#pragma once

#include <memory>
#include <vector>

#include <boost/dll/shared_library.hpp>
#include <boost/filesystem/path.hpp>

#include "platform/app/service.h"

namespace korvane::host {

/// A plugin library that has been loaded and whose service is started. What the service offers is
/// found in the directory of live services (krv::rpc4). One thread makes and destroys it, and no
/// call to its services may run meanwhile.
class Plugin {
 public:
  /// Loads `library`, finds the plugin record in its section `modsvc`, makes the service and starts
  /// it. Throws std::runtime_error "cannot load plugin <library>: <reason>"; what `start` throws
  /// passes unchanged.
  explicit Plugin(const boost::filesystem::path& library);
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;
  /// Stops the service and releases it before its library goes.
  ~Plugin();

  /// Makes another service of the library and starts it in the place of the one there is, which is
  /// then stopped. Throws what making and starting throw; then the former one goes on.
  void restart();

 private:
  boost::dll::shared_library library_;
  krv::app::ServiceFactory factory_;
  std::shared_ptr<krv::app::IService> service_;
};

/// The libraries in `folder` that have a plugin record, by name in order. Looks without loading; a
/// file that is no library, or has no record, is passed over. Throws std::runtime_error
/// "no plugin folder <folder>" when it is no folder.
std::vector<boost::filesystem::path> find_plugins(const boost::filesystem::path& folder);

/// Loads and starts the plugins of `folder`, in order of their names. A library that cannot be
/// read, loaded or started is named in the log with the reason, and passed over; one without a
/// plugin record is none. Throws std::runtime_error "no plugin folder <folder>".
std::vector<std::unique_ptr<Plugin>> load_plugins(const boost::filesystem::path& folder);

}  // namespace korvane::host
