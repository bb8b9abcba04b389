#include "host/text/digest.h"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <openssl/evp.h>
#include <stdexcept>

#include <boost/algorithm/hex.hpp>

namespace korvane::host {

namespace {

void require(bool is_done) {
  if (!is_done) throw std::runtime_error("SHA-256 is not to be had from OpenSSL");
}

}  // namespace

void Digest::Free::operator()(evp_md_ctx_st* context) const noexcept { EVP_MD_CTX_free(context); }

Digest::Digest() : context_(EVP_MD_CTX_new()) {
  require(context_ && EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr) == 1);
}

void Digest::add(std::string_view text) {
  unsigned char length[sizeof(std::uint64_t)];
  for (std::size_t i = 0; i < sizeof length; ++i) {
    length[i] = static_cast<unsigned char>(std::uint64_t{text.size()} >> (8 * i));
  }
  require(EVP_DigestUpdate(context_.get(), length, sizeof length) == 1 &&
          EVP_DigestUpdate(context_.get(), text.data(), text.size()) == 1);
}

std::string Digest::take() {
  unsigned char bytes[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  require(EVP_DigestFinal_ex(context_.get(), bytes, &size) == 1);
  std::string text;
  boost::algorithm::hex_lower(bytes, bytes + size, std::back_inserter(text));
  return text;
}

}  // namespace korvane::host
