#include "host/service/kept_answers.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include <Poco/Data/SQLite/Utility.h>
#include <sqlite3.h>

namespace korvane::host {

namespace {

constexpr std::chrono::seconds kKept = std::chrono::hours(24);

constexpr std::string_view kCreateTable =
    "CREATE TABLE korvane_answers (client TEXT NOT NULL, key TEXT NOT NULL, "
    "request TEXT NOT NULL, answered INTEGER NOT NULL, media_type TEXT NOT NULL, "
    "fields TEXT NOT NULL, body BLOB NOT NULL, PRIMARY KEY (client, key)) WITHOUT ROWID";
constexpr std::string_view kCreateIndex =
    "CREATE INDEX korvane_answers_answered ON korvane_answers (answered)";

constexpr const char* kFieldEnd = "\r\n";
/// The one field of the header that an answer to a write has of its own.
constexpr std::string_view kKeptField = "ETag";

class Statement {
 public:
  Statement(sqlite3* connection, std::string_view sql) : connection_(connection) {
    sqlite3_stmt* statement = nullptr;
    check(sqlite3_prepare_v2(connection, sql.data(), static_cast<int>(sql.size()), &statement,
                             nullptr));
    statement_.reset(statement);
  }

  Statement& text(std::string_view value) {
    check(sqlite3_bind_text64(statement_.get(), ++bound_, value.data(), value.size(), SQLITE_STATIC,
                              SQLITE_UTF8));
    return *this;
  }
  Statement& blob(std::string_view value) {
    // Of no bytes, a blob and not NULL.
    check(value.empty() ? sqlite3_bind_zeroblob(statement_.get(), ++bound_, 0)
                        : sqlite3_bind_blob64(statement_.get(), ++bound_, value.data(),
                                              value.size(), SQLITE_STATIC));
    return *this;
  }
  Statement& number(std::int64_t value) {
    check(sqlite3_bind_int64(statement_.get(), ++bound_, value));
    return *this;
  }

  bool step() {
    const int result = sqlite3_step(statement_.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE) check(result);
    return result == SQLITE_ROW;
  }
  std::string column(int place) const {
    const auto* const bytes =
        static_cast<const char*>(sqlite3_column_blob(statement_.get(), place));
    const int size = sqlite3_column_bytes(statement_.get(), place);
    return bytes == nullptr ? "" : std::string(bytes, static_cast<std::size_t>(size));
  }

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
  };

  void check(int result) const {
    if (result != SQLITE_OK) Poco::Data::SQLite::Utility::throwException(connection_, result);
  }

  sqlite3* connection_;
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
  int bound_ = 0;
};

std::int64_t now() {
  return std::chrono::duration_cast<std::chrono::seconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

std::string text_of(const std::vector<std::pair<std::string, std::string>>& fields) {
  std::string text;
  for (const auto& [name, value] : fields) {
    if (name != kKeptField) continue;
    text.append(name).append(": ").append(value).append(kFieldEnd);
  }
  return text;
}

std::vector<std::pair<std::string, std::string>> fields_in(std::string_view text) {
  std::vector<std::pair<std::string, std::string>> fields;
  while (!text.empty()) {
    const std::size_t colon = text.find(": ");
    const std::size_t end = text.find(kFieldEnd);
    if (colon == std::string_view::npos || end == std::string_view::npos || colon > end) break;
    fields.emplace_back(text.substr(0, colon), text.substr(colon + 2, end - colon - 2));
    text.remove_prefix(end + 2);
  }
  return fields;
}

/// Whether these are fields that an answer can have been kept with.
bool are_own(const std::vector<std::pair<std::string, std::string>>& fields) {
  return std::all_of(fields.begin(), fields.end(), [](const auto& field) {
    return field.first == kKeptField &&
           std::all_of(field.second.begin(), field.second.end(),
                       [](char one) { return one >= ' ' && one < 127; });
  });
}

/// The server's own statements: the client's may hold short values only, and an answer need not be
/// short. Whatever the file hangs on the table, by triggers or by foreign keys of other tables, does
/// not run with them.
class OwnStatements {
 public:
  explicit OwnStatements(sqlite3* connection)
      : connection_(connection),
        length_(sqlite3_limit(connection, SQLITE_LIMIT_LENGTH, std::numeric_limits<int>::max())),
        triggers_(exchange(SQLITE_DBCONFIG_ENABLE_TRIGGER, 0)),
        foreign_keys_(exchange(SQLITE_DBCONFIG_ENABLE_FKEY, 0)) {}
  OwnStatements(const OwnStatements&) = delete;
  OwnStatements& operator=(const OwnStatements&) = delete;
  ~OwnStatements() {
    exchange(SQLITE_DBCONFIG_ENABLE_FKEY, foreign_keys_);
    exchange(SQLITE_DBCONFIG_ENABLE_TRIGGER, triggers_);
    sqlite3_limit(connection_, SQLITE_LIMIT_LENGTH, length_);
  }

 private:
  /// What was set before.
  int exchange(int option, int value) {
    int before = 0;
    sqlite3_db_config(connection_, option, -1, &before);
    sqlite3_db_config(connection_, option, value, nullptr);
    return before;
  }

  sqlite3* connection_;
  int length_;
  int triggers_;
  int foreign_keys_;
};

}  // namespace

/// Whoever made the file may have put triggers on the table, or indexes that compute: what is not
/// as this server makes it is not used.
bool KeptAnswers::has_table() const {
  Statement known(connection_,
                  "SELECT sql FROM main.sqlite_schema WHERE name = 'korvane_answers' "
                  "COLLATE NOCASE OR tbl_name = 'korvane_answers' COLLATE NOCASE ORDER BY rowid");
  std::vector<std::string> found;
  while (known.step()) found.push_back(known.column(0));
  if (found.empty()) return false;
  if (found == std::vector<std::string>{std::string(kCreateTable), std::string(kCreateIndex)}) {
    return true;
  }
  throw HttpFault(problem("not-a-project"),
                  "the project has something else that is called korvane_answers, or more than "
                  "that: it takes no Idempotency-Key");
}

std::optional<HttpReply> KeptAnswers::find(const KeyedRequest& request) const {
  if (!has_table()) return std::nullopt;
  const OwnStatements own(connection_);
  Statement known(connection_,
                  "SELECT request, media_type, fields, body FROM main.korvane_answers "
                  "WHERE client = ? AND key = ? AND answered > ?");
  known.text(request.client).text(request.key).number(now() - kKept.count());
  if (!known.step()) return std::nullopt;
  if (known.column(0) != request.digest) {
    throw HttpFault(problem("key-used"),
                    "the Idempotency-Key \"" + request.key + "\" was sent with another request");
  }
  HttpReply reply{.content_type = known.column(1), .body = known.column(3)};
  reply.fields = fields_in(known.column(2));
  // What another program has written there is not to become part of the reply's header.
  const auto& types = request.media_types;
  const bool is_of_type = std::find(types.begin(), types.end(), reply.content_type) != types.end();
  if (!is_of_type || !are_own(reply.fields)) {
    throw HttpFault(problem("unusable-row"), "the answer that is kept cannot be sent");
  }
  reply.fields.emplace_back("Idempotency-Replayed", "true");
  return reply;
}

void KeptAnswers::keep(const KeyedRequest& request, const HttpReply& reply) {
  const OwnStatements own(connection_);
  if (!has_table()) {
    Statement(connection_, kCreateTable).step();
    Statement(connection_, kCreateIndex).step();
  }
  const std::int64_t time = now();
  // Some of them: a call has so much time, and after a busy day there are many.
  Statement(connection_,
            "DELETE FROM main.korvane_answers WHERE (client, key) IN (SELECT client, key "
            "FROM main.korvane_answers WHERE answered <= ? LIMIT 1000)")
      .number(time - kKept.count())
      .step();
  const std::string fields = text_of(reply.fields);
  Statement(connection_, "INSERT OR REPLACE INTO main.korvane_answers VALUES (?, ?, ?, ?, ?, ?, ?)")
      .text(request.client)
      .text(request.key)
      .text(request.digest)
      .number(time)
      .text(reply.content_type)
      .text(fields)
      .blob(reply.body)
      .step();
}

}  // namespace korvane::host
