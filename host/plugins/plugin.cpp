#include "host/plugins/plugin.h"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <string>
#include <utility>

#include <boost/dll/library_info.hpp>
#include <boost/filesystem/operations.hpp>

#include "host/plugins/failure_text.h"
#include "platform/log/log.h"

namespace korvane::host {

namespace {

/// The names of the plugin records of `library`, read from the file.
std::vector<std::string> record_names(const boost::filesystem::path& library) {
  return boost::dll::library_info(library).symbols(krv::app::kPluginSection);
}

bool has_plugin_record(const boost::filesystem::path& file) {
  try {
    return !record_names(file).empty();
  } catch (const std::exception&) {
    return false;  // not a library
  }
}

std::vector<boost::filesystem::path> files_of(const boost::filesystem::path& folder) {
  if (!boost::filesystem::is_directory(folder)) {
    throw std::runtime_error("no plugin folder " + folder.string());
  }
  std::vector<boost::filesystem::path> files;
  for (const auto& entry : boost::filesystem::directory_iterator(folder)) {
    if (boost::filesystem::is_regular_file(entry.path())) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

void log_unusable(const boost::filesystem::path& library, const std::exception& failure) {
  BOOST_LOG_SEV(krv::log::get_global_log(), krv::log::refused)
      << "cannot use plugin " << krv::log::widen(library.string()) << ": "
      << krv::log::widen(failure_text(failure));
}

krv::app::ServiceFactory load_factory(boost::dll::shared_library& library,
                                      const boost::filesystem::path& file) {
  try {
    const std::vector<std::string> names = record_names(file);
    if (names.size() != 1) {
      throw std::runtime_error("expected one symbol in section " +
                               std::string(krv::app::kPluginSection) + ", found " +
                               std::to_string(names.size()));
    }
    library.load(file);
    return library.get<const krv::app::ServiceFactory>(names.front());
  } catch (const std::exception& failure) {
    throw std::runtime_error("cannot load plugin " + file.string() + ": " + failure.what());
  }
}

}  // namespace

Plugin::Plugin(const boost::filesystem::path& library)
    : factory_(load_factory(library_, boost::filesystem::absolute(library))), service_(factory_()) {
  service_->start();
}

Plugin::~Plugin() {
  service_->stop();
  service_.reset();
}

void Plugin::restart() {
  std::shared_ptr<krv::app::IService> next = factory_();
  next->start();
  std::swap(service_, next);
  next->stop();
}

std::vector<boost::filesystem::path> find_plugins(const boost::filesystem::path& folder) {
  std::vector<boost::filesystem::path> libraries = files_of(folder);
  std::erase_if(libraries, [](const auto& file) { return !has_plugin_record(file); });
  return libraries;
}

std::vector<std::unique_ptr<Plugin>> load_plugins(const boost::filesystem::path& folder) {
  std::vector<std::unique_ptr<Plugin>> plugins;
  for (const boost::filesystem::path& file : files_of(folder)) {
    if (file.extension() != boost::dll::shared_library::suffix()) continue;
    try {
      if (record_names(file).empty()) continue;
      plugins.push_back(std::make_unique<Plugin>(file));
    } catch (const std::exception& failure) {
      log_unusable(file, failure);
    }
  }
  return plugins;
}

}  // namespace korvane::host
