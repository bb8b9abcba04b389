#pragma once

#include <cstddef>
#include <string>

#include <Poco/Data/Session.h>

namespace korvane::model::cad {

/// A session on the SQLite file `filename`, which SQLite makes if it is not there; its folder is
/// not made. It waits up to `lock_timeout_seconds` for a lock of another program's.
///
/// It opens the file once: the data layer's stock connector repeats a failing open until the
/// timeout is over. A name that begins with "file:" is the name of a file like any other, never a
/// URI. It holds whatever the host has registered under the data layer's key for SQLite; with
/// nothing there, the first call registers the same way of opening, for the life of the library.
///
/// Throws Poco::Data::ConnectionFailedException when the file cannot be opened or made.
Poco::Data::Session open_session(const std::string& filename, std::size_t lock_timeout_seconds);

}  // namespace korvane::model::cad
