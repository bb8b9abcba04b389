#pragma once

#include <filesystem>

namespace krv::app {

/// Whether the file can be read and begins as SQLite's files do, which every project with content
/// does. Never waits, not even for a pipe, and leaves the locks alone that this process has on the
/// file by way of SQLite.
bool begins_as_database(const std::filesystem::path& file);

}  // namespace krv::app
