#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <Poco/Process.h>

namespace korvane::test {

/// `korvane serve` in a process of its own, on a free port of the loopback. Its log is dropped. It
/// is stopped when it goes.
class ServedProgram {
 public:
  /// Throws std::runtime_error when it does not start.
  explicit ServedProgram(const std::string& root);
  ServedProgram(const ServedProgram&) = delete;
  ServedProgram& operator=(const ServedProgram&) = delete;
  ~ServedProgram();

  /// "http://127.0.0.1:" and the port.
  const std::string& url() const { return url_; }
  std::uint16_t port() const;

  /// Bytes of it that are in memory.
  std::size_t resident_bytes() const;
  /// Files and connections that it has open.
  std::size_t open_files() const;

  /// Ends it as its users do, and returns its exit code.
  int stop();

 private:
  std::unique_ptr<Poco::ProcessHandle> process_;
  std::string url_;
};

}  // namespace korvane::test
