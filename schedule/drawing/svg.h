#pragma once

#include <string>
#include <string_view>

#include "schedule/drawing/picture.h"

/// Pictures as SVG with texts as texts, so that they can be searched, copied and read aloud. One
/// millimetre is one unit. Black is the colour of the text around the element, `currentColor`, and
/// every mark has its ink as class: "ink-black", "ink-grey" or "ink-light". There are no ids and no
/// style sheet, so that many of them can stand in one page, under any content security policy.
namespace korvane::schedule::drawing {

/// How programs that read aloud take an SVG.
enum class SvgRole {
  /// As one thing that its title describes.
  image,
  /// As the texts that are in it.
  texts,
};

/// The begin of an `<svg>` element with its title, which may be any text.
std::string svg_begin(double width, double height, std::string_view title, SvgRole role);

/// The strokes and texts of a picture, to stand between svg_begin and svg_end, moved by `corner`.
std::string svg_marks(const Picture& picture, Point corner = {});

std::string svg_end();

/// The whole element.
std::string svg_of(const Picture& picture, std::string_view title, SvgRole role = SvgRole::image);

/// `text` between the tags and in the attributes of XML and HTML.
std::string escaped(std::string_view text);

}  // namespace korvane::schedule::drawing
