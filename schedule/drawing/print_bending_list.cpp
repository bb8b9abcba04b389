#include "schedule/drawing/print_bending_list.h"

#include <array>
#include <cstddef>
#include <ctime>
#include <stdexcept>

#include "schedule/drawing/one_line.h"
#include "schedule/drawing/pdf.h"
#include "schedule/drawing/svg.h"

namespace korvane::schedule::drawing {

namespace {

/// Between pages of an SVG.
constexpr double kGap = 8;

/// Pages are paper, on whatever ground.
constexpr const char* kStyle =
    "@page{size:A4 portrait;margin:0}\n"
    "html{color-scheme:light dark}\n"
    "body{margin:0;background:#e4e4e4}\n"
    "section{width:210mm;max-width:100vw;margin:8mm auto;background:#fff;color:#000;"
    "box-shadow:0 0 1mm #8888}\n"
    "svg{display:block;width:100%;height:auto}\n"
    "@media(prefers-color-scheme:dark){body{background:#222}}\n"
    "@media print{body{background:none}section{width:210mm;height:297mm;max-width:none;margin:0;"
    "box-shadow:none;overflow:hidden;break-after:page}section:last-of-type{break-after:auto}}\n";

std::string page_name(const BendingListPages& pages, std::size_t index) {
  return "Page " + std::to_string(index + 1) + " of " + std::to_string(pages.count());
}

void print_pdf(const BendingListPages& pages, const encoding::JsonSink& sink) {
  PdfFile file({pages.title(), pages.date()}, sink);
  for (std::size_t i = 0; i < pages.count(); ++i) file.add_page(pages.page(i), pages.name(i));
  file.finish();
}

void print_svg(const BendingListPages& pages, const encoding::JsonSink& sink) {
  const auto count = static_cast<double>(pages.count());
  sink("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
  sink(svg_begin(kPageWidth, count * (kPageHeight + kGap) - kGap, pages.title(), SvgRole::texts));
  for (std::size_t i = 0; i < pages.count(); ++i) {
    const Point corner{0, static_cast<double>(i) * (kPageHeight + kGap)};
    Picture page = pages.page(i);
    if (pages.count() > 1) {
      page.strokes.push_back({rectangle({0, 0}, kPageWidth, kPageHeight), kHairline, Ink::light});
    }
    sink("<g role=\"group\" aria-label=\"" + page_name(pages, i) + "\">\n");
    sink(svg_marks(page, corner));
    sink("</g>\n");
  }
  sink(svg_end());
}

void print_html(const BendingListPages& pages, const encoding::JsonSink& sink) {
  sink(
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\"/>\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\"/>\n<title>" +
      escaped(one_line(pages.title())) + "</title>\n<style>\n" + kStyle +
      "</style>\n</head>\n<body>\n<main>\n");
  for (std::size_t i = 0; i < pages.count(); ++i) {
    sink("<section>\n");
    sink(svg_of(pages.page(i), page_name(pages, i), SvgRole::texts));
    sink("</section>\n");
  }
  sink("</main>\n</body>\n</html>\n");
}

}  // namespace

void print_bending_list(const BendingListPages& pages, const std::string& format,
                        const encoding::JsonSink& sink) {
  if (format == "pdf") return print_pdf(pages, sink);
  if (format == "svg") return print_svg(pages, sink);
  if (format == "html") return print_html(pages, sink);
  throw std::logic_error("no format of bending lists: " + format);
}

std::string today() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  ::localtime_r(&now, &parts);
  std::array<char, 16> text{};
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d", &parts)};
}

}  // namespace korvane::schedule::drawing
