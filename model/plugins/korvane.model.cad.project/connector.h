#pragma once

#include <cstddef>
#include <string>

#include <Poco/Data/Session.h>

namespace korvane::model::cad {

/// Opens a session on the SQLite file `filename`. SQLite makes a missing file, but not its folder.
/// The session waits up to `lock_timeout_seconds` for another program's lock.
///
/// The file is opened once, where the data layer's stock connector repeats a failing open until the
/// timeout is over. A name that begins with "file:" is a file's name like any other, never a URI.
/// This holds whatever connector the host has registered under the data layer's key for SQLite. If
/// there is none, the first call registers one that opens in the same way, until the process ends.
///
/// Throws Poco::Data::ConnectionFailedException when the file cannot be opened or made.
Poco::Data::Session open_session(const std::string& filename, std::size_t lock_timeout_seconds);

}  // namespace korvane::model::cad
