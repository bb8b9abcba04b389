#include "contracts/encoding/place.h"

#include <algorithm>

#include "contracts/encoding/json.h"
#include "contracts/encoding/json_text.h"

namespace korvane::encoding::detail {

namespace {

bool is_plain(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '-';
}

}  // namespace

void append_key(std::string& path, std::string_view key) {
  const bool is_bare =
      !key.empty() && key.size() <= kLongestQuote && std::all_of(key.begin(), key.end(), is_plain);
  if (!is_bare) {
    path += "[" + shown(key) + "]";
    return;
  }
  if (!path.empty()) path += '.';
  path += key;
}

void append_index(std::string& path, std::size_t index) {
  path += "[" + std::to_string(index) + "]";
}

void fail_at(const std::string& path, const std::string& what) {
  throw JsonError((path.empty() ? "request" : path) + ": " + what);
}

void Place::append_to(std::string& path) const {
  if (outer_ == nullptr) return;
  outer_->append_to(path);
  is_element_ ? append_index(path, index_) : append_key(path, key_);
}

void Place::fail(const std::string& what) const {
  std::string path;
  append_to(path);
  fail_at(path, what);
}

void Place::fail_expected(const std::string& expected, std::string_view found) const {
  fail("expected " + expected + ", found " + std::string(found));
}

}  // namespace korvane::encoding::detail
