#pragma once

#include <memory>
#include <string>
#include <vector>

#include "bench/wire/caller.h"
#include "bench/wire/rows.h"

namespace korvane::bench::wire {

/// What is measured, as the tables call it.
namespace name {
inline constexpr const char* binary = "korvane";
inline constexpr const char* json = "korvane, JSON";
inline constexpr const char* in_process = "in the process";
inline constexpr const char* grpc = "gRPC";
inline constexpr const char* node = "Node";
inline constexpr const char* echo = "echo";
}  // namespace name

/// One way to the rows, behind which a process runs as long as the object lives.
class Server {
 public:
  Server() = default;
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  virtual ~Server() = default;

  virtual std::string name() const = 0;
  /// A new connection, whose calls go to that project.
  virtual std::unique_ptr<Caller> connect(int project) = 0;
};

/// All that can be had, in the order of the tables. What cannot is left out, and said on the
/// standard error: Node, where it or its module is not installed.
std::vector<std::unique_ptr<Server>> start_servers();

}  // namespace korvane::bench::wire
