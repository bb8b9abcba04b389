#include "schedule/drawing/fonts.h"

#include <memory>
#include <pango/pangocairo.h>

namespace korvane::schedule::drawing {

namespace {

/// Pango's units per unit of the size that is measured.
constexpr int kMeasuredSize = 1000 * PANGO_SCALE;

struct Unreferenced {
  void operator()(void* object) const { g_object_unref(object); }
};
struct FreedDescription {
  void operator()(PangoFontDescription* font) const { pango_font_description_free(font); }
};

/// What measures in one weight. Font maps belong to one thread each.
class Ruler {
 public:
  explicit Ruler(PangoWeight weight) {
    const std::unique_ptr<PangoFontDescription, FreedDescription> font(
        pango_font_description_new());
    pango_font_description_set_family_static(font.get(), kFontFamily);
    pango_font_description_set_weight(font.get(), weight);
    pango_font_description_set_absolute_size(font.get(), kMeasuredSize);
    pango_layout_set_font_description(layout_.get(), font.get());
  }

  double width(const std::string& text) const {
    pango_layout_set_text(layout_.get(), text.data(), static_cast<int>(text.size()));
    int width = 0;
    pango_layout_get_size(layout_.get(), &width, nullptr);
    return static_cast<double>(width) / kMeasuredSize;
  }

 private:
  std::unique_ptr<PangoContext, Unreferenced> context_{
      pango_font_map_create_context(pango_cairo_font_map_get_default())};
  std::unique_ptr<PangoLayout, Unreferenced> layout_{pango_layout_new(context_.get())};
};

}  // namespace

double text_width(const std::string& text, double size, bool is_bold) {
  thread_local const Ruler normal(PANGO_WEIGHT_NORMAL);
  thread_local const Ruler bold(PANGO_WEIGHT_BOLD);
  return (is_bold ? bold : normal).width(text) * size;
}

}  // namespace korvane::schedule::drawing
