#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "host/access/gate.h"
#include "host/access/project_root.h"
#include "host/memory/memory_pool.h"
#include "host/service/call_room.h"
#include "host/watch/metrics.h"

namespace korvane::host {

/// The gate of a server, which can be exchanged. Any thread may use it.
class CurrentGate {
 public:
  explicit CurrentGate(Gate gate) { set(std::move(gate)); }

  std::shared_ptr<const Gate> get() const {
    const std::lock_guard lock(mutex_);
    return gate_;
  }
  void set(Gate gate) {
    auto next = std::make_shared<const Gate>(std::move(gate));
    const std::lock_guard lock(mutex_);
    gate_ = std::move(next);
  }

 private:
  mutable std::mutex mutex_;
  std::shared_ptr<const Gate> gate_;
};

/// The requests in work, by client. Any thread may use it.
class Visits {
 public:
  /// At most `most` of one client at a time.
  explicit Visits(std::size_t most) : most_(most) {}

  void enter(const std::string& client);
  void leave(const std::string& client);

 private:
  const std::size_t most_;
  std::mutex mutex_;
  std::map<std::string, std::size_t> counts_;
};

/// The stay of one request of a client that is known.
class Visit {
 public:
  /// `visits` must outlive it. Throws HttpFault 429 "too many requests of \"<client>\" at a time".
  Visit(Visits& visits, Client client);
  Visit(const Visit&) = delete;
  Visit& operator=(const Visit&) = delete;
  ~Visit();

  const Client& client() const { return client_; }

 private:
  Visits& visits_;
  const Client client_;
};

struct ServerLimits : CallLimits {
  /// All bodies that are held at a time.
  std::uint64_t all_body_bytes = std::uint64_t{128} << 20U;
  std::size_t open_projects = 2000;
  /// Requests of one client that are in work at a time.
  std::size_t requests_per_client = 256;
};

/// What all requests to a server share. Made when the plugins' services are live.
struct ServerState {
  /// `root` must outlive it. `count_connections` is asked for the metrics.
  ServerState(Gate its_gate, const ProjectRoot& root, const ServerLimits& limits, Mounted mounted,
              std::function<std::size_t()> count_connections);

  /// What is measured now, for Prometheus.
  std::string metrics_text();

  CurrentGate gate;
  Visits visits;
  const Page page;
  const std::map<std::string, std::string> schemas;
  /// See Mounted.
  const std::function<std::string(const std::string& file, const std::string& order)> try_locks;
  const std::function<std::string(const CopyOrder& order)> take_copy;
  const std::function<std::string()> copy_metrics;
  /// The OpenAPI document, and its editions for generators of clients.
  const std::string openapi;
  const std::string openapi_of_json;
  const std::string openapi_3_0;
  std::atomic<bool> is_draining = false;
  std::atomic<bool> is_stopping = false;
  Metrics metrics;
  MemoryPool bodies;
  CallRoom room;

 private:
  const std::function<std::size_t()> count_connections_;
};

}  // namespace korvane::host
