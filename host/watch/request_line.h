#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "host/watch/json_log.h"
#include "host/watch/log_writer.h"

namespace korvane::host {

/// One request in the log, as plain values: {"time":"…","id":"…","peer":"127.0.0.1:40112",
/// "client":"office","method":"POST","path":"/v1/…","status":200,"milliseconds":0.31,
/// "request_bytes":8,"reply_bytes":120}, and what else there is to tell of it.
struct RequestLine final : LateLine {
  std::chrono::system_clock::time_point time;
  std::string id;
  std::string peer;
  std::string client;
  std::string method;
  std::string path;
  int status = 0;
  std::chrono::nanoseconds duration{0};
  std::uint64_t request_bytes = 0;
  std::uint64_t reply_bytes = 0;
  /// Of an error; else empty, and not written.
  std::string detail;
  /// Written as "sent":false where it is not.
  bool is_sent = true;
  /// What the plugins logged meanwhile, as "lines" and "lines_left_out" where there are any.
  CollectedLines logged;

  std::string text() const override;
  std::size_t bytes() const override;
};

}  // namespace korvane::host
