#pragma once

#include <string>
#include <sys/types.h>

namespace korvane::test {

/// What another program holds on a project file.
enum class Lock {
  kRead,       ///< it reads: others read too, and cannot commit
  kWrite,      ///< it is about to write: others read
  kExclusive,  ///< it writes: others do nothing
};

/// The SQL that takes a lock and keeps it until the transaction ends.
std::string sql_that_takes(Lock lock);

/// Another process with plain SQLite. Must be made before this process opens a database: SQLite
/// connections do not survive a fork.
class OtherProgram {
 public:
  OtherProgram();
  OtherProgram(const OtherProgram&) = delete;
  OtherProgram& operator=(const OtherProgram&) = delete;
  /// Kills it.
  ~OtherProgram();

  /// Opens `file` there, once it is there.
  void open(const std::string& file);
  /// Runs SQL on that connection. Throws std::runtime_error when it fails.
  void run(const std::string& sql);
  /// Ends the process at once, whatever it holds.
  void kill();

 private:
  void send(const std::string& text) const;
  void expect_done();

  pid_t process_ = 0;
  int to_ = -1;
  int from_ = -1;
};

}  // namespace korvane::test
