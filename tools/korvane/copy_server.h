#pragma once

#include <chrono>
#include <map>
#include <string>

#include "clients/cpp/connection.h"
#include "sqlite/copy_blocks.h"
#include "tools/korvane/copy_orders.h"
#include "tools/korvane/copy_place.h"

namespace korvane::tools {

/// A server that takes copies (`korvane serve --accept-copies`): of a state it gets the blocks that it
/// lacks. What has changed is copied into the folder for temporary files first, and checked there.
class CopyServer final : public CopyPlace {
 public:
  /// The server at `url`; see client::Connection. `token` has the scope copy.
  CopyServer(const std::string& url, const std::string& token, const std::string& authorities);

  /// Asks the server for its copies now and then: what becomes of a copy there without this program
  /// is known five minutes later.
  void begin_round() override;
  std::map<std::string, sqlite::CopyNote> notes() override { return notes_; }
  std::optional<sqlite::CopyNote> note_of(const std::string& name) override;
  std::string header_of(const std::string& name) override;
  bool has(const std::string& name) override { return notes_.contains(name); }
  sqlite::StandingCopy update(const std::string& project, const std::string& name,
                              const sqlite::CopyOptions& options) override;
  void remove(const std::string& name, const sqlite::CopyOptions& options) override;
  void report(const CopyReport& report) override;

 private:
  using Clock = std::chrono::steady_clock;

  std::string order(const std::string& name, const std::map<std::string, std::string>& parameters,
                    std::string_view body = {});
  void send_missing(const std::string& name, const Transfer& transfer, const std::string& file,
                    const sqlite::BlockList& blocks, const sqlite::CopyOptions& options);

  const std::string url_;
  client::Connection connection_;
  std::map<std::string, sqlite::CopyNote> notes_;
  Clock::time_point asked_;
};

}  // namespace korvane::tools
