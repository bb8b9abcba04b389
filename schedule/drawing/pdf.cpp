#include "schedule/drawing/pdf.h"

#include <cairo-pdf.h>
#include <cmath>
#include <cstddef>
#include <exception>
#include <pango/pangocairo.h>
#include <stdexcept>
#include <utility>

#include "schedule/angles.h"
#include "schedule/drawing/fonts.h"
#include "schedule/drawing/ink.h"
#include "schedule/drawing/one_line.h"

namespace korvane::schedule::drawing {

namespace {

constexpr double kPointsPerMillimetre = 72 / 25.4;
/// Texts are laid out in this size and scaled: one shape of a letter for all sizes.
constexpr double kLaidOutSize = 1000;

struct Freed {
  void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
  void operator()(cairo_t* cairo) const { cairo_destroy(cairo); }
  void operator()(cairo_font_options_t* options) const { cairo_font_options_destroy(options); }
  void operator()(PangoFontDescription* font) const { pango_font_description_free(font); }
  void operator()(PangoLayout* layout) const { g_object_unref(layout); }
};
template <class T>
using Owned = std::unique_ptr<T, Freed>;

bool is_finite(Point point) { return std::isfinite(point.x) && std::isfinite(point.y); }

/// The path of the stroke in a drawing, without what is not finite.
void draw_path(cairo_t* cairo, const std::vector<PathStep>& path) {
  for (const PathStep& step : path) {
    if (!is_finite(step.to)) continue;
    switch (step.kind) {
      case PathStep::Kind::move:
        cairo_move_to(cairo, step.to.x, step.to.y);
        break;
      case PathStep::Kind::line:
        cairo_line_to(cairo, step.to.x, step.to.y);
        break;
      case PathStep::Kind::curve:
        if (!is_finite(step.first_control) || !is_finite(step.second_control)) break;
        cairo_curve_to(cairo, step.first_control.x, step.first_control.y, step.second_control.x,
                       step.second_control.y, step.to.x, step.to.y);
        break;
      case PathStep::Kind::close:
        cairo_close_path(cairo);
        break;
    }
  }
}

void set_ink(cairo_t* cairo, Ink ink) {
  const double part = lightness(ink);
  cairo_set_source_rgb(cairo, part, part, part);
}

void draw(cairo_t* cairo, const Stroke& stroke) {
  cairo_new_path(cairo);
  draw_path(cairo, stroke.path);
  set_ink(cairo, stroke.ink);
  if (stroke.is_filled) cairo_fill_preserve(cairo);
  if (stroke.width > 0 && std::isfinite(stroke.width)) {
    cairo_set_line_width(cairo, stroke.width);
    const double dashes[] = {kDash * stroke.width, kGap * stroke.width};
    cairo_set_dash(cairo, dashes, stroke.is_dashed ? 2 : 0, 0);
    cairo_stroke_preserve(cairo);
  }
  cairo_new_path(cairo);
}

}  // namespace

/// The library's surface, and what of C++ has to wait outside of it.
class PdfFile::Surface {
 public:
  Surface(const PdfInfo& info, Sink sink)
      : sink_(std::move(sink)), surface_(cairo_pdf_surface_create_for_stream(take, this, 1, 1)) {
    check(cairo_surface_status(surface_.get()));
    set(CAIRO_PDF_METADATA_TITLE, info.title);
    set(CAIRO_PDF_METADATA_CREATOR, "korvane");
    set(CAIRO_PDF_METADATA_CREATE_DATE, info.date);
    cairo_.reset(cairo_create(surface_.get()));
    cairo_set_line_join(cairo_.get(), CAIRO_LINE_JOIN_ROUND);
    normal_ = make_layout(PANGO_WEIGHT_NORMAL);
    bold_ = make_layout(PANGO_WEIGHT_BOLD);
  }
  Surface(const Surface&) = delete;
  Surface& operator=(const Surface&) = delete;
  /// Its end would be written if it were not finished, to a sink that is no more.
  ~Surface() { sink_ = nullptr; }

  void add_page(const Picture& picture, const std::string& outline) {
    cairo_t* const cairo = cairo_.get();
    cairo_pdf_surface_set_size(surface_.get(), picture.width * kPointsPerMillimetre,
                               picture.height * kPointsPerMillimetre);
    ++pages_;
    if (!outline.empty()) add_outline(one_line(outline));
    cairo_save(cairo);
    cairo_scale(cairo, kPointsPerMillimetre, kPointsPerMillimetre);
    for (const Stroke& stroke : picture.strokes) draw(cairo, stroke);
    for (const Text& text : picture.texts) draw_text(text);
    cairo_restore(cairo);
    cairo_show_page(cairo);
    check(cairo_status(cairo));
  }

  void finish() {
    cairo_surface_finish(surface_.get());
    check(cairo_surface_status(surface_.get()));
  }

 private:
  /// Never fails for the library: some versions follow a null pointer when they end a file that
  /// could not be written.
  static cairo_status_t take(void* self, const unsigned char* bytes, unsigned int size) {
    auto& surface = *static_cast<Surface*>(self);
    if (!surface.sink_ || surface.has_failed_) return CAIRO_STATUS_SUCCESS;
    try {
      surface.sink_({reinterpret_cast<const char*>(bytes), size});
    } catch (...) {
      // The library is C: an exception must not pass through it.
      surface.failure_ = std::current_exception();
      surface.has_failed_ = true;
    }
    return CAIRO_STATUS_SUCCESS;
  }

  void check(cairo_status_t status) {
    if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
    if (status == CAIRO_STATUS_SUCCESS) return;
    if (status == CAIRO_STATUS_NO_MEMORY) throw std::bad_alloc();
    throw std::runtime_error(std::string("cannot write the PDF file: ") +
                             cairo_status_to_string(status));
  }

  void set(cairo_pdf_metadata_t which, const std::string& text) {
    cairo_pdf_surface_set_metadata(surface_.get(), which, one_line(text).c_str());
  }

  void add_outline(const std::string& name) {
    const std::string link = "page=" + std::to_string(pages_) + " pos=[0 0]";
    cairo_pdf_surface_add_outline(surface_.get(), CAIRO_PDF_OUTLINE_ROOT, name.c_str(),
                                  link.c_str(), static_cast<cairo_pdf_outline_flags_t>(0));
  }

  Owned<PangoLayout> make_layout(PangoWeight weight) {
    Owned<PangoLayout> layout(pango_cairo_create_layout(cairo_.get()));
    PangoContext* const context = pango_layout_get_context(layout.get());
    const Owned<cairo_font_options_t> options(cairo_font_options_create());
    cairo_font_options_set_hint_style(options.get(), CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options.get(), CAIRO_HINT_METRICS_OFF);
    pango_cairo_context_set_font_options(context, options.get());
    const Owned<PangoFontDescription> font(pango_font_description_new());
    pango_font_description_set_family_static(font.get(), kFontFamily);
    pango_font_description_set_weight(font.get(), weight);
    pango_font_description_set_absolute_size(font.get(), kLaidOutSize * PANGO_SCALE);
    pango_layout_set_font_description(layout.get(), font.get());
    pango_layout_set_single_paragraph_mode(layout.get(), TRUE);
    return layout;
  }

  void draw_text(const Text& text) {
    const std::string line = one_line(text.text);
    if (line.empty() || !is_finite(text.at) || !(text.size > 0)) return;
    PangoLayout* const layout = (text.is_bold ? bold_ : normal_).get();
    pango_layout_set_text(layout, line.data(), static_cast<int>(line.size()));
    int width = 0;
    pango_layout_get_size(layout, &width, nullptr);
    double left = 0;
    if (text.align == Align::centre) left = -0.5 * width / PANGO_SCALE;
    if (text.align == Align::right) left = -1.0 * width / PANGO_SCALE;
    cairo_t* const cairo = cairo_.get();
    cairo_save(cairo);
    set_ink(cairo, text.ink);
    cairo_translate(cairo, text.at.x, text.at.y);
    cairo_rotate(cairo, -text.rotation * kRadiansPerDegree);
    cairo_scale(cairo, text.size / kLaidOutSize, text.size / kLaidOutSize);
    cairo_move_to(cairo, left, -1.0 * pango_layout_get_baseline(layout) / PANGO_SCALE);
    pango_cairo_show_layout(cairo, layout);
    cairo_restore(cairo);
  }

  Sink sink_;
  std::exception_ptr failure_;
  /// Also after the failure was thrown: the rest goes nowhere.
  bool has_failed_ = false;
  int pages_ = 0;
  Owned<cairo_surface_t> surface_;
  Owned<cairo_t> cairo_;
  Owned<PangoLayout> normal_;
  Owned<PangoLayout> bold_;
};

PdfFile::PdfFile(const PdfInfo& info, Sink sink)
    : surface_(std::make_unique<Surface>(info, std::move(sink))) {}

PdfFile::~PdfFile() = default;

void PdfFile::add_page(const Picture& picture, const std::string& outline) {
  surface_->add_page(picture, outline);
}

void PdfFile::finish() { surface_->finish(); }

}  // namespace korvane::schedule::drawing
