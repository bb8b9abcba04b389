#pragma once

#include <string>

/// The font of all drawings and pages: one that has the letters of Europe's languages. Texts are
/// measured and drawn by Pango, which takes letters that it lacks from another font.
namespace korvane::schedule::drawing {

inline constexpr const char* kFontFamily = "DejaVu Sans";

/// Parts of a font's size: how far capitals and digits rise above the baseline, and how far letters
/// hang below it.
inline constexpr double kCapitalHeight = 0.73;
inline constexpr double kDescent = 0.24;

/// How wide one line of text is, in the unit of `size`. Any thread may call it.
double text_width(const std::string& text, double size, bool is_bold = false);

}  // namespace korvane::schedule::drawing
