#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "host/http/message.h"

/// Files that browsers get: a page and what belongs to it. They are the same for everybody, and need
/// no token.
namespace korvane::host {

struct PageFile {
  std::string content_type;
  std::string bytes;
  /// The same compressed by gzip; empty where nobody did it.
  std::string compressed;
  /// Names the content: W/"…".
  std::string tag;
  /// Its name changes with its content.
  bool is_immutable = false;
};

/// The files of a folder by their paths, in memory. Any thread may read it.
class Page {
 public:
  /// None.
  Page() = default;
  /// All files in `folder` and below, "index.html" as "/". A file "NAME.gz" is NAME compressed. Those
  /// in "assets" have names that change with their content. Throws std::filesystem::filesystem_error,
  /// and std::runtime_error "cannot read <file>".
  explicit Page(const std::filesystem::path& folder);

  /// The file of exactly that path, "/assets/index-1a2b.js", or null.
  const PageFile* find(const std::string& path) const;
  bool is_empty() const { return files_.empty(); }

 private:
  std::map<std::string, PageFile> files_;
};

/// The file, or that the client has it already. `file` must outlive the reply.
HttpReply page_reply(const PageFile& file, const HttpRequest& request);

}  // namespace korvane::host
