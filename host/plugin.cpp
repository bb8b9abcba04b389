#include "host/plugin.h"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <string>

#include <boost/dll/library_info.hpp>
#include <boost/filesystem/operations.hpp>

namespace korvane::host {

namespace {

/// The names of the plugin records of `library`, read from the file.
std::vector<std::string> record_names(const boost::filesystem::path& library) {
  return boost::dll::library_info(library).symbols(krv::app::kPluginSection);
}

bool has_plugin_record(const boost::filesystem::path& file) {
  if (!boost::filesystem::is_regular_file(file)) return false;
  try {
    return !record_names(file).empty();
  } catch (const std::exception&) {
    return false;  // no library at all
  }
}

std::shared_ptr<krv::app::IService> make_service(boost::dll::shared_library& library,
                                                 const boost::filesystem::path& file) {
  try {
    const std::vector<std::string> names = record_names(file);
    if (names.size() != 1) {
      throw std::runtime_error("expected one symbol in section " +
                               std::string(krv::app::kPluginSection) + ", found " +
                               std::to_string(names.size()));
    }
    library.load(file);
    return library.get<const krv::app::ServiceFactory>(names.front())();
  } catch (const std::exception& failure) {
    throw std::runtime_error("cannot load plugin " + file.string() + ": " + failure.what());
  }
}

}  // namespace

Plugin::Plugin(const boost::filesystem::path& library)
    : service_(make_service(library_, boost::filesystem::absolute(library))) {
  service_->start();
}

Plugin::~Plugin() {
  service_->stop();
  service_.reset();
}

std::vector<boost::filesystem::path> find_plugins(const boost::filesystem::path& folder) {
  if (!boost::filesystem::is_directory(folder)) {
    throw std::runtime_error("no plugin folder " + folder.string());
  }
  std::vector<boost::filesystem::path> libraries;
  for (const auto& entry : boost::filesystem::directory_iterator(folder)) {
    if (has_plugin_record(entry.path())) libraries.push_back(entry.path());
  }
  std::sort(libraries.begin(), libraries.end());
  return libraries;
}

}  // namespace korvane::host
