#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace korvane::host {

/// Whether an Accept-Encoding field takes gzip (RFC 9110, section 12.5.3). An empty field takes none.
bool takes_gzip(const std::string& accept_encoding);

/// Whether bodies of that media type become smaller: texts, JSON, SVG.
bool is_compressible(const std::string& media_type);

/// Sends a text in pieces of which nobody knows how many there will be (RFC 9112, section 7.1),
/// compressed by gzip (RFC 1952). Used by one thread.
class GzipChunks {
 public:
  using Send = std::function<void(std::string_view bytes)>;

  /// `send` gets the bytes for the wire, the header `head` before the first ones. What it throws
  /// passes.
  GzipChunks(std::string head, Send send);
  GzipChunks(const GzipChunks&) = delete;
  GzipChunks& operator=(const GzipChunks&) = delete;
  ~GzipChunks();

  void write(std::string_view piece);
  /// Sends the rest and the end. Without it the other end knows that something is missing.
  void finish();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace korvane::host
