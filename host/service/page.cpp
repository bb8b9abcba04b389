#include "host/service/page.h"

#include <array>
#include <cstddef>
#include <fstream>
#include <openssl/evp.h>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "host/http/coding.h"
#include "host/service/entity_tag.h"

namespace korvane::host {

namespace {

/// What a page may do: run and load what is its own, and ask this server. Pictures and frames are
/// made of what it has asked for.
constexpr const char* kPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data: blob:; "
    "connect-src 'self'; frame-src blob:; base-uri 'none'; form-action 'none'; "
    "frame-ancestors 'none'";

struct FileType {
  std::string_view extension;
  const char* content_type;
};

constexpr std::array kTypes = {FileType{".html", "text/html; charset=utf-8"},
                               FileType{".js", "text/javascript; charset=utf-8"},
                               FileType{".css", "text/css; charset=utf-8"},
                               FileType{".svg", "image/svg+xml"},
                               FileType{".json", "application/json"},
                               FileType{".txt", "text/plain; charset=utf-8"}};

const char* content_type_of(const std::filesystem::path& file) {
  for (const FileType& type : kTypes) {
    if (file.extension() == type.extension) return type.content_type;
  }
  return "application/octet-stream";
}

std::string content_of(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  std::ostringstream bytes;
  bytes << stream.rdbuf();
  // An empty file fails the stream that it is copied to, and is none of a page's.
  if (!stream || !bytes) throw std::runtime_error("cannot read " + file.string());
  return std::move(bytes).str();
}

std::string tag_of(const std::string& bytes) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int size = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, EVP_sha256(), nullptr) != 1) {
    throw std::runtime_error("no SHA-256");
  }
  static constexpr std::string_view kDigits = "0123456789abcdef";
  constexpr std::size_t kBytes = 16;
  std::string text;
  for (std::size_t i = 0; i < kBytes; ++i) {
    text += kDigits[digest.at(i) >> 4U];
    text += kDigits[digest.at(i) & 0xFU];
  }
  return weak_tag(text);
}

}  // namespace

Page::Page(const std::filesystem::path& folder) {
  using std::filesystem::recursive_directory_iterator;
  for (const auto& entry : recursive_directory_iterator(folder)) {
    if (!entry.is_regular_file() || entry.path().extension() == ".gz") continue;
    PageFile file;
    file.content_type = content_type_of(entry.path());
    file.bytes = content_of(entry.path());
    file.tag = tag_of(file.bytes);
    const std::string compressed = entry.path().string() + ".gz";
    if (std::filesystem::exists(compressed)) file.compressed = content_of(compressed);
    const std::string name = entry.path().lexically_relative(folder).generic_string();
    file.is_immutable = name.starts_with("assets/");
    files_.emplace(name == "index.html" ? "/" : "/" + name, std::move(file));
  }
}

const PageFile* Page::find(const std::string& path) const {
  const auto found = files_.find(path);
  return found == files_.end() ? nullptr : &found->second;
}

HttpReply page_reply(const PageFile& file, const HttpRequest& request) {
  HttpReply reply;
  reply.content_type = file.content_type;
  reply.fields = {
      {"ETag", file.tag},
      {"Cache-Control", file.is_immutable ? "public, max-age=31536000, immutable" : "no-cache"},
      {"Content-Security-Policy", kPolicy},
      {"Referrer-Policy", "no-referrer"}};
  if (has_tag(request.head.get("If-None-Match", ""), file.tag)) {
    reply.status = kNotModified;
    return reply;
  }
  const bool is_compressed =
      !file.compressed.empty() && takes_gzip(request.head.get("Accept-Encoding", ""));
  const std::string& bytes = is_compressed ? file.compressed : file.bytes;
  if (is_compressed) reply.fields.emplace_back("Content-Encoding", "gzip");
  reply.is_compressed = is_compressed;
  reply.streamed_bytes = bytes.size();
  reply.stream_body = [&bytes](const HttpReply::Write& write) { write(bytes); };
  return reply;
}

}  // namespace korvane::host
