#pragma once

#include <filesystem>

namespace krv::app {

/// Whether the file can be read and begins as SQLite's files do, which every project with content
/// does. Never waits, not even for a pipe.
bool begins_as_database(const std::filesystem::path& file);

}  // namespace krv::app
