#include "server/revision_tag.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <openssl/evp.h>
#include <stdexcept>
#include <string_view>

#include "platform/rpc4/failure.h"
#include "schedule/line_kind.h"
#include "schedule/query.h"

namespace korvane::server {

using model::cad::Project_Service;
using schedule::integer_in;
using schedule::query;

namespace {

constexpr std::size_t kRowsAtATime = 1000;

/// SHA-256 of texts one after another, each with its length.
class Digest {
 public:
  Digest() : context_(EVP_MD_CTX_new(), EVP_MD_CTX_free) {
    require(context_ && EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr) == 1);
  }

  void add(std::string_view text) {
    unsigned char length[sizeof(std::uint64_t)];
    for (std::size_t i = 0; i < sizeof length; ++i) {
      length[i] = static_cast<unsigned char>(std::uint64_t{text.size()} >> (8 * i));
    }
    require(EVP_DigestUpdate(context_.get(), length, sizeof length) == 1 &&
            EVP_DigestUpdate(context_.get(), text.data(), text.size()) == 1);
  }

  /// In hexadecimal. Nothing can be added then.
  std::string take() {
    unsigned char bytes[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    require(EVP_DigestFinal_ex(context_.get(), bytes, &size) == 1);
    constexpr const char* kDigits = "0123456789abcdef";
    std::string text;
    for (unsigned int i = 0; i < size; ++i) {
      text += kDigits[bytes[i] >> 4U];
      text += kDigits[bytes[i] & 0xFU];
    }
    return text;
  }

 private:
  static void require(bool is_done) {
    if (!is_done) throw std::runtime_error("SHA-256 is not to be had from OpenSSL");
  }

  std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context_;
};

void add_rows(Project_Service& project, const char* table, std::int32_t content_id,
              Digest& digest) {
  digest.add(table);
  std::int64_t last = std::numeric_limits<std::int64_t>::min();
  while (true) {
    const auto rows =
        query(project, std::string("select id, raw from ") + table + " where id > " +
                           std::to_string(last) + " and rev_id = " + std::to_string(content_id) +
                           " order by id limit " + std::to_string(kRowsAtATime))
            .rows;
    for (const auto& row : rows) {
      digest.add(row[1].value_string.hasvalue() ? *row[1].value_string : "");
      last = integer_in(row[0]);
    }
    if (rows.size() < kRowsAtATime) return;
  }
}

std::string make_tag(Project_Service& project, const schedule::RevisionEntry& revision) {
  Digest digest;
  for (const auto& row :
       query(project, "select raw from revision where id = " + std::to_string(revision.record.id))
           .rows) {
    digest.add(row[0].value_string.hasvalue() ? *row[0].value_string : "");
  }
  schedule::for_each_line_kind(
      [&](auto kind) { add_rows(project, kind.kTable, revision.content_id, digest); });
  return '"' + digest.take() + '"';
}

[[noreturn]] void refuse(const std::string& if_match) {
  throw krv::rpc4::BadRequest("If-Match: expected * or tags in quotes, found " + if_match);
}

}  // namespace

std::string RevisionTags::tag_of(Project_Service& project,
                                 const schedule::RevisionEntry& revision) {
  const std::string key =
      std::to_string(revision.record.id) + ' ' + std::to_string(revision.content_id);
  return tags_.get(project, key, [&] { return make_tag(project, revision); });
}

bool matches(const std::string& if_match, const std::string& tag) {
  constexpr std::string_view kBlanks = " \t";
  bool has_tag = false;
  std::string_view rest = if_match;
  const auto skip_blanks = [&] {
    rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
  };
  skip_blanks();
  if (rest.starts_with('*')) {
    rest.remove_prefix(1);
    skip_blanks();
    if (!rest.empty()) refuse(if_match);
    return true;
  }
  while (true) {
    skip_blanks();
    const bool is_weak = rest.starts_with("W/");
    if (is_weak) rest.remove_prefix(2);
    const std::size_t end = rest.starts_with('"') ? rest.find('"', 1) : std::string_view::npos;
    if (end == std::string_view::npos) refuse(if_match);
    if (!is_weak && rest.substr(0, end + 1) == tag) has_tag = true;
    rest.remove_prefix(end + 1);
    skip_blanks();
    if (rest.empty()) return has_tag;
    if (!rest.starts_with(',')) refuse(if_match);
    rest.remove_prefix(1);
  }
}

}  // namespace korvane::server
