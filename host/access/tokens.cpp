#include "host/access/tokens.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <set>
#include <stdexcept>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include <boost/algorithm/hex.hpp>
#include <nlohmann/json.hpp>

namespace korvane::host {

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;
using Digest = decltype(TokenEntry::digest);

constexpr std::string_view kTokenPrefix = "krv_";
constexpr std::size_t kLongestName = 64;
constexpr mode_t kOwnerOnly = 0600;

struct NamedScope {
  Scope scope;
  std::string_view name;
};
constexpr std::array kScopes = {NamedScope{Scope::read, "read"}, NamedScope{Scope::write, "write"},
                                NamedScope{Scope::sql, "sql"}, NamedScope{Scope::copy, "copy"}};

[[noreturn]] void fail(const fs::path& path, const std::string& fault) {
  throw std::runtime_error("token file " + path.string() + ": " + fault);
}

[[noreturn]] void fail_with_errno(const fs::path& path, const std::string& what) {
  const std::error_code code(errno, std::generic_category());
  fail(path, what + ": " + code.message());
}

Digest sha256(std::string_view text) {
  Digest digest;
  unsigned size = 0;
  if (EVP_Digest(text.data(), text.size(), digest.data(), &size, EVP_sha256(), nullptr) != 1 ||
      size != digest.size()) {
    throw std::runtime_error("SHA-256 is not available");
  }
  return digest;
}

std::string base64url(const std::array<unsigned char, 32>& bytes) {
  std::array<unsigned char, 45> text{};
  const int size = EVP_EncodeBlock(text.data(), bytes.data(), static_cast<int>(bytes.size()));
  std::string result(text.begin(), text.begin() + size);
  std::replace(result.begin(), result.end(), '+', '-');
  std::replace(result.begin(), result.end(), '/', '_');
  result.erase(result.find('='));
  return result;
}

std::string make_token() {
  std::array<unsigned char, 32> bytes{};
  if (getentropy(bytes.data(), bytes.size()) != 0) {
    throw std::system_error(errno, std::generic_category(), "no random bytes");
  }
  return std::string(kTokenPrefix) + base64url(bytes);
}

/// The day in UTC.
std::string today() {
  using namespace std::chrono;
  const year_month_day day(floor<days>(system_clock::now()));
  char text[16];
  std::snprintf(text, sizeof(text), "%04d-%02u-%02u", static_cast<int>(day.year()),
                static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()));
  return text;
}

bool is_good_name(std::string_view name) {
  constexpr std::string_view kCharacters =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-";
  return !name.empty() && name.size() <= kLongestName &&
         name.find_first_not_of(kCharacters) == std::string_view::npos;
}

std::string hex(const Digest& digest) {
  std::string text;
  boost::algorithm::hex_lower(digest.begin(), digest.end(), std::back_inserter(text));
  return text;
}

auto entry_of(std::vector<TokenEntry>& entries, const std::string& name) {
  return std::find_if(entries.begin(), entries.end(),
                      [&](const TokenEntry& entry) { return entry.client.name == name; });
}

/// Reads the file's JSON. Its failures say what is wrong, and in which entry.
class Reading {
 public:
  explicit Reading(const fs::path& path) : path_(path) {}

  std::vector<TokenEntry> run(std::istream& text) {
    try {
      const Json file = Json::parse(text);
      where_ = "the file";
      check_keys(file, {"tokens"});
      if (!file.at("tokens").is_array()) fault("\"tokens\" is not a list");
      std::vector<TokenEntry> entries;
      for (const Json& entry : file.at("tokens")) {
        where_ = "token " + std::to_string(entries.size() + 1);
        TokenEntry read = entry_from(entry);
        if (entry_of(entries, read.client.name) != entries.end()) {
          fault("the name " + read.client.name + " is given twice");
        }
        entries.push_back(std::move(read));
      }
      return entries;
    } catch (const Json::parse_error& failure) {
      fail(path_, std::string("not JSON: ") + failure.what());
    }
  }

 private:
  [[noreturn]] void fault(const std::string& text) const { fail(path_, where_ + ": " + text); }

  /// An unknown key would be lost with the next change of the file, so none is accepted.
  void check_keys(const Json& object, const std::set<std::string>& keys) const {
    if (!object.is_object()) fault("not a JSON object");
    for (const auto& item : object.items()) {
      if (keys.count(item.key()) == 0) fault("unknown key " + Json(item.key()).dump());
    }
    for (const std::string& key : keys) {
      if (!object.contains(key)) fault("no \"" + key + "\"");
    }
  }

  std::string text_at(const Json& object, const std::string& key) const {
    if (!object.at(key).is_string()) fault("\"" + key + "\" is not text");
    return object.at(key).get<std::string>();
  }

  TokenEntry entry_from(const Json& object) const {
    check_keys(object, {"name", "sha256", "scopes", "created"});
    TokenEntry entry;
    entry.client.name = text_at(object, "name");
    if (!is_good_name(entry.client.name)) fault("bad \"name\"");
    entry.client.scopes = scopes_from(object.at("scopes"));
    entry.digest = digest_from(text_at(object, "sha256"));
    entry.created = text_at(object, "created");
    return entry;
  }

  Scopes scopes_from(const Json& list) const {
    if (!list.is_array() || list.empty()) fault("\"scopes\" is not a list of scopes");
    Scopes scopes;
    for (const Json& name : list) {
      const std::optional<Scope> scope =
          name.is_string() ? scope_of(name.get<std::string>()) : std::nullopt;
      if (!scope) fault("unknown scope " + name.dump());
      scopes.insert(*scope);
    }
    return scopes;
  }

  Digest digest_from(const std::string& text) const {
    Digest digest;
    if (text.size() != digest.size() * 2 ||
        text.find_first_not_of("0123456789abcdef") != std::string::npos) {
      fault("\"sha256\" must be 64 digits of lower-case hexadecimal");
    }
    boost::algorithm::unhex(text, digest.begin());
    return digest;
  }

  const fs::path& path_;
  std::string where_;
};

/// Nothing when there is no file.
std::optional<struct stat> status_of(const fs::path& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) == 0) return status;
  if (errno != ENOENT) fail_with_errno(path, "cannot be looked up");
  return std::nullopt;
}

/// Nothing when there is no file.
std::optional<std::vector<TokenEntry>> read_entries(const fs::path& path) {
  const auto status = status_of(path);
  if (!status) return std::nullopt;
  if (!S_ISREG(status->st_mode)) fail(path, "not a regular file");
  if ((status->st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    fail(path, "group or others may write it; expected mode 0600");
  }
  std::ifstream text(path);
  if (!text) fail_with_errno(path, "cannot be read");
  return Reading(path).run(text);
}

std::string text_of(const std::vector<TokenEntry>& entries) {
  Json tokens = Json::array();
  for (const TokenEntry& entry : entries) {
    Json scopes = Json::array();
    for (const Scope scope : entry.client.scopes) scopes.push_back(scope_name(scope));
    tokens.push_back({{"name", entry.client.name},
                      {"sha256", hex(entry.digest)},
                      {"scopes", std::move(scopes)},
                      {"created", entry.created}});
  }
  return Json{{"tokens", std::move(tokens)}}.dump(2) + "\n";
}

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  int get() const { return number_; }

 private:
  int number_;
};

/// The file that a link points to is replaced, not the link.
fs::path end_of_links(const fs::path& path) {
  std::error_code failure;
  fs::path end = fs::weakly_canonical(fs::absolute(path), failure);
  if (failure) fail(path, "cannot be looked up: " + failure.message());
  return end;
}

/// One change of the token file. While it lives no other process or thread makes one.
class Change {
 public:
  explicit Change(const fs::path& path)
      : path_(end_of_links(path)),
        folder_(::open(path_.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (folder_.get() < 0) fail_with_errno(path, "its folder cannot be opened");
    while (::flock(folder_.get(), LOCK_EX) != 0) {
      if (errno != EINTR) fail_with_errno(path, "its folder cannot be locked");
    }
  }

  std::vector<TokenEntry> entries() const {
    return read_entries(path_).value_or(std::vector<TokenEntry>{});
  }

  void store(const std::vector<TokenEntry>& entries) const {
    std::string name = path_.string() + ".XXXXXX";
    const Descriptor file(::mkostemp(name.data(), O_CLOEXEC));
    if (file.get() < 0) fail_with_errno(path_, "no file can be made beside it");
    try {
      fill(file.get(), text_of(entries));
      if (::rename(name.c_str(), path_.c_str()) != 0) fail_with_errno(path_, "cannot be replaced");
    } catch (...) {
      ::unlink(name.c_str());
      throw;
    }
    if (::fsync(folder_.get()) != 0) fail_with_errno(path_, "its folder cannot be stored");
  }

 private:
  void fill(int file, const std::string& text) const {
    struct stat status {};
    if (::fstat(file, &status) != 0) fail_with_errno(path_, "cannot be looked up");
    const auto before = status_of(path_);
    if (before && (before->st_uid != status.st_uid || before->st_gid != status.st_gid) &&
        ::fchown(file, before->st_uid, before->st_gid) != 0) {
      fail_with_errno(path_, "cannot be given to its owner again");
    }
    if (::fchmod(file, before ? before->st_mode & 07777U : kOwnerOnly) != 0) {
      fail_with_errno(path_, "cannot be given its mode");
    }
    if (::write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
        ::fsync(file) != 0) {
      fail_with_errno(path_, "cannot be written");
    }
  }

  fs::path path_;
  Descriptor folder_;
};

}  // namespace

std::string_view scope_name(Scope scope) {
  return std::find_if(kScopes.begin(), kScopes.end(),
                      [&](const NamedScope& named) { return named.scope == scope; })
      ->name;
}

std::optional<Scope> scope_of(std::string_view name) {
  const auto* const found = std::find_if(
      kScopes.begin(), kScopes.end(), [&](const NamedScope& named) { return named.name == name; });
  if (found == kScopes.end()) return std::nullopt;
  return found->scope;
}

Scopes all_scopes() {
  Scopes scopes;
  for (const NamedScope& named : kScopes) scopes.insert(named.scope);
  return scopes;
}

TokenFile::TokenFile(fs::path path) : path_(std::move(path)) {}

std::string TokenFile::add(const std::string& name, const Scopes& scopes) {
  if (!is_good_name(name)) {
    throw std::invalid_argument("a token's name is of 1 to 64 letters, digits, '.', '_' and '-'");
  }
  if (scopes.empty()) throw std::invalid_argument("a token has one scope at least");
  const Change change(path_);
  std::vector<TokenEntry> entries = change.entries();
  if (entry_of(entries, name) != entries.end()) {
    throw std::invalid_argument("a token is named " + name + " already");
  }
  std::string token = make_token();
  entries.push_back({{name, scopes}, sha256(token), today()});
  change.store(entries);
  return token;
}

void TokenFile::remove(const std::string& name) {
  const Change change(path_);
  std::vector<TokenEntry> entries = change.entries();
  const auto found = entry_of(entries, name);
  if (found == entries.end()) throw std::invalid_argument("no token is named " + name);
  entries.erase(found);
  change.store(entries);
}

std::vector<TokenEntry> TokenFile::list() const {
  return read_entries(path_).value_or(std::vector<TokenEntry>{});
}

Tokens Tokens::load(const fs::path& path) {
  auto entries = read_entries(path);
  if (!entries) fail(path, "is not there");
  Tokens tokens;
  tokens.entries_ = std::move(*entries);
  return tokens;
}

std::optional<Client> Tokens::find(std::string_view bearer) const {
  const Digest digest = sha256(bearer);
  const TokenEntry* found = nullptr;
  for (const TokenEntry& entry : entries_) {
    const bool is_equal = CRYPTO_memcmp(entry.digest.data(), digest.data(), digest.size()) == 0;
    found = is_equal ? &entry : found;
  }
  if (found == nullptr) return std::nullopt;
  return found->client;
}

}  // namespace korvane::host
