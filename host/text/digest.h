#pragma once

#include <memory>
#include <string>
#include <string_view>

struct evp_md_ctx_st;

namespace korvane::host {

/// SHA-256 of texts one after another, each with its length, so that "ab", "c" is not "a", "bc".
/// Whatever fails throws std::runtime_error "SHA-256 is not to be had from OpenSSL".
class Digest {
 public:
  Digest();

  void add(std::string_view text);
  /// In hexadecimal, lower case. Nothing can be added then.
  std::string take();

 private:
  struct Free {
    void operator()(evp_md_ctx_st* context) const noexcept;
  };

  std::unique_ptr<evp_md_ctx_st, Free> context_;
};

}  // namespace korvane::host
