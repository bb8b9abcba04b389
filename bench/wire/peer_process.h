#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <Poco/Process.h>

namespace korvane::bench::wire {

/// A server in a process of its own that prints its port first. Ends with the object.
class PeerProcess {
 public:
  /// Throws std::runtime_error when it does not start. What it says of that goes to this program's
  /// own errors.
  PeerProcess(const std::string& program, const std::vector<std::string>& arguments);
  PeerProcess(const PeerProcess&) = delete;
  PeerProcess& operator=(const PeerProcess&) = delete;
  ~PeerProcess();

  std::uint16_t port() const { return port_; }

 private:
  std::unique_ptr<Poco::ProcessHandle> process_;
  std::uint16_t port_ = 0;
};

}  // namespace korvane::bench::wire
