#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/http/message.h"

struct sqlite3;

namespace korvane::host {

/// A write that its client can tell from all its others: by a key of its choice (Idempotency-Key).
struct KeyedRequest {
  std::string client;
  std::string key;
  /// A digest of all that the request says.
  std::string digest;
  /// As what the answer may come.
  std::vector<std::string> media_types = {};
};

/// The answers that writes with a key have got, kept for a day in the file of the project that they
/// wrote to, stored together with what they wrote. They stand in the table `korvane_answers`, which
/// the first of them makes. Used in a unit of the connection's service, on its thread; what SQLite
/// refuses throws the data layer's exceptions.
class KeptAnswers {
 public:
  /// The connection must outlive it.
  explicit KeptAnswers(sqlite3* connection) : connection_(connection) {}

  /// The answer to the request, if it is known: with the field "Idempotency-Replayed: true". Throws
  /// HttpFault 422 where the key has been used for another request, where something else than
  /// this table has its name, and where what it says is not what `keep` writes.
  std::optional<HttpReply> find(const KeyedRequest& request) const;

  /// Keeps `reply`, which is whole and no error, and forgets some of what is older than a day.
  void keep(const KeyedRequest& request, const HttpReply& reply);

 private:
  bool has_table() const;

  sqlite3* const connection_;
};

}  // namespace korvane::host
