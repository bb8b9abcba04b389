#pragma once

#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace korvane::test {

/// Records every connection that the process opens while this lives, until it is closed, and the
/// statements that it parses and runs. One at a time; not while several threads use connections.
class ConnectionWatch {
 public:
  ConnectionWatch();
  ConnectionWatch(const ConnectionWatch&) = delete;
  ConnectionWatch& operator=(const ConnectionWatch&) = delete;
  ~ConnectionWatch();

  /// Connections that are opened while one of these lives are not recorded.
  class Pause {
   public:
    Pause();
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;
    ~Pause();
  };

  /// The file names, without folders, of the connections opened and closed, in order.
  const std::vector<std::string>& opened() const { return opened_; }
  const std::vector<std::string>& closed() const { return closed_; }

  /// The texts of the statements that were run, in order; BEGIN, COMMIT and ROLLBACK without what
  /// follows them. A foreign key's cascade does not appear; its SET NULL appears as one more copy
  /// of the text of the statement that caused it.
  const std::vector<std::string>& statements() const { return statements_; }

  /// How often a statement was parsed that does `action` (SQLITE_INSERT, …), to `table` if one is
  /// named. An insert counts once, a select for itself and for each column it reads.
  int parsed(int action, const std::string& table = "") const;
  /// Whether any statement was parsed that names `table`.
  bool touched(const std::string& table) const;

  /// From now on SQLite refuses to parse statements that do `action` to `table`.
  void refuse(int action, const std::string& table) { refused_.emplace(action, table); }
  /// Called whenever a connection has been closed.
  void when_closed(std::function<void()> callback) { when_closed_ = std::move(callback); }

  /// Forgets what was recorded; what is refused stays refused.
  void forget();

 private:
  friend struct WatchCallbacks;

  std::vector<std::string> opened_;
  std::vector<std::string> closed_;
  std::vector<std::string> statements_;
  std::vector<std::pair<int, std::string>> parsed_;
  std::set<std::pair<int, std::string>> refused_;
  std::function<void()> when_closed_;
};

}  // namespace korvane::test
