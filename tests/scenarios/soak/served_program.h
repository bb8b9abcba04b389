#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <Poco/Process.h>

namespace korvane::test {

/// `korvane serve` in a process of its own, on a free port of the loopback. Destroying the object
/// stops it.
class ServedProgram {
 public:
  struct Options {
    std::string root;
    /// Further arguments of the command line.
    std::string arguments = {};
    std::string program = KORVANE_PROGRAM;
    /// File for its log.
    std::string log = "/dev/null";
    /// KiB of data that the process may have; 0 is no limit.
    std::size_t data_limit = 0;
  };

  /// Throws std::runtime_error when it does not start.
  explicit ServedProgram(const Options& options);
  explicit ServedProgram(const std::string& root) : ServedProgram(Options{root}) {}
  ServedProgram(const ServedProgram&) = delete;
  ServedProgram& operator=(const ServedProgram&) = delete;
  ~ServedProgram();

  /// "http://127.0.0.1:" and the port.
  const std::string& url() const { return url_; }
  std::uint16_t port() const;

  /// Bytes of it that are in memory.
  std::size_t resident_bytes() const;
  /// The most that ever were.
  std::size_t peak_resident_bytes() const;
  /// Files and connections that it has open.
  std::size_t open_files() const;

  /// Ends it as its users do, and returns its exit code.
  int stop();
  /// Ends it at once.
  void kill();

 private:
  std::unique_ptr<Poco::ProcessHandle> process_;
  std::string url_;
};

}  // namespace korvane::test
