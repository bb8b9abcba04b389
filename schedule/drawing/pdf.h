#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "schedule/drawing/picture.h"

namespace korvane::schedule::drawing {

/// What a PDF file says of itself.
struct PdfInfo {
  std::string title;
  /// "2026-01-31". The file has no other time in it: the same pages make the same bytes.
  std::string date;
};

/// Writes pictures as the pages of a PDF file, one after another: a page is gone from memory when it
/// is added. Texts are texts, in fonts that the file brings with it.
class PdfFile {
 public:
  /// Takes the file piece by piece. What it throws comes out of the function that is called.
  using Sink = std::function<void(std::string_view bytes)>;

  /// All functions throw std::runtime_error "cannot write the PDF file: <reason>" if the library
  /// that makes it fails, std::bad_alloc without memory.
  PdfFile(const PdfInfo& info, Sink sink);
  PdfFile(const PdfFile&) = delete;
  PdfFile& operator=(const PdfFile&) = delete;
  /// Without finish, what was written is not a PDF file.
  ~PdfFile();

  /// The page has the size of the picture. With `outline` the reader's list of contents has an entry
  /// of that name for it.
  void add_page(const Picture& picture, const std::string& outline = {});

  void finish();

 private:
  class Surface;
  std::unique_ptr<Surface> surface_;
};

}  // namespace korvane::schedule::drawing
