#pragma once

#include <memory>
#include <string>
#include <vector>

#include "bench/wire/caller.h"
#include "bench/wire/rows.h"
#include "contracts/cad/material.h"
#include "contracts/common/batch.h"

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

/// What all of them must answer, and have in their files.
struct Expected {
  model::cad::Sheet sheet;
  Batch<model::cad::Material> materials;
  Batch<model::cad::Rebar> bars;
  /// Columns of the last bar that `add_rebar` has stored.
  std::string row;
};

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
  /// Throws std::logic_error if it answers or stores anything else.
  virtual void check(const Expected& expected) = 0;
};

/// All that can be had and answer alike, in the order of the tables. What cannot is left out, and said on the
/// standard error: Node, where it or its module is not installed.
std::vector<std::unique_ptr<Server>> start_servers();

}  // namespace korvane::bench::wire
