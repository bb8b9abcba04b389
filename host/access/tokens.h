#pragma once

#include <algorithm>
#include <array>
#include <compare>
#include <cstddef>
#include <filesystem>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Bearer tokens: who may call a server, and what for.
///
/// The token file is JSON, `{"tokens": [{"name", "sha256", "scopes", "created"}, …]}`. A token
/// itself is stored nowhere: it is 32 random bytes, of which the file keeps the SHA-256. Whoever
/// can read the file learns names and scopes; whoever can write it can let themselves in. A file
/// that group or others may write is therefore refused, one that they may read is not. Failures are
/// std::runtime_error and begin "token file <path>: ".
namespace korvane::host {

/// What a token is good for. None includes another.
enum class Scope {
  read,   ///< reading operations
  write,  ///< writing operations
  sql,    ///< queries in SQL
  copy,   ///< keeping copies of another server's projects
};

/// A set of them, in order. Copied with each request, and so without memory of its own.
class Scopes {
 public:
  Scopes() = default;
  Scopes(std::initializer_list<Scope> scopes) {
    for (const Scope scope : scopes) insert(scope);
  }

  void insert(Scope scope) {
    Scope* const place = std::lower_bound(scopes_.begin(), scopes_.begin() + size_, scope);
    if (place != end() && *place == scope) return;
    std::move_backward(place, scopes_.begin() + size_, scopes_.begin() + size_ + 1);
    *place = scope;
    ++size_;
  }
  bool empty() const { return size_ == 0; }
  std::size_t size() const { return size_; }
  std::size_t count(Scope scope) const { return std::binary_search(begin(), end(), scope); }
  const Scope* begin() const { return scopes_.data(); }
  const Scope* end() const { return scopes_.data() + size_; }

  friend auto operator<=>(const Scopes&, const Scopes&) = default;

 private:
  static constexpr std::size_t kScopes = static_cast<std::size_t>(Scope::copy) + 1;

  /// Those beyond the size are `read`, so that equal sets compare equal.
  std::array<Scope, kScopes> scopes_{};
  std::size_t size_ = 0;
};

/// "read", "write", "sql", "copy".
std::string_view scope_name(Scope scope);
std::optional<Scope> scope_of(std::string_view name);
/// Every scope there is.
Scopes all_scopes();

/// Whom a token was given to.
struct Client {
  std::string name;
  Scopes scopes;

  bool operator==(const Client&) const = default;
};

/// A token as the file knows it.
struct TokenEntry {
  Client client;
  /// Of the token's SHA-256.
  std::array<unsigned char, 32> digest{};
  /// The day it was made, "2024-05-31", in UTC.
  std::string created;
};

/// The token file as an administrator changes it. A missing file is one without tokens. Each
/// change replaces the file in one step: a reader sees the old one or the new one, also after a
/// power cut. The new one has mode 0600 if there was none, else the owner, group and mode of the
/// old one. Changes of several threads and processes wait for each other; any number may read.
class TokenFile {
 public:
  explicit TokenFile(std::filesystem::path path);

  /// Makes a token for a client and returns it: "krv_" and 43 characters of base64url. It cannot be
  /// shown again. `name` is of 1 to 64 letters, digits, `.`, `_` and `-`, and new to the file;
  /// `scopes` are not empty. Throws std::invalid_argument otherwise, with a text for the
  /// administrator.
  std::string add(const std::string& name, const Scopes& scopes);

  /// Throws std::invalid_argument "no token is named <name>".
  void remove(const std::string& name);

  /// In the order in which they were added.
  std::vector<TokenEntry> list() const;

 private:
  std::filesystem::path path_;
};

/// The tokens that a server accepts, as the file had them once. Immutable: any number of threads
/// may use one at a time.
class Tokens {
 public:
  /// None: every bearer is unknown.
  Tokens() = default;
  /// Throws for a missing file too: a server that is to have tokens has some.
  static Tokens load(const std::filesystem::path& path);

  /// Whom `bearer` was given to; nothing for a token that is not one of these. The time it takes
  /// depends on the length of `bearer` and the number of tokens, not on how much of one was right.
  std::optional<Client> find(std::string_view bearer) const;

 private:
  std::vector<TokenEntry> entries_;
};

}  // namespace korvane::host
