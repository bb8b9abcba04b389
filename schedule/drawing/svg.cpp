#include "schedule/drawing/svg.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "schedule/drawing/fonts.h"
#include "schedule/drawing/ink.h"
#include "schedule/drawing/one_line.h"

namespace korvane::schedule::drawing {

namespace {

/// A thousandth of a millimetre.
constexpr int kDecimals = 3;
/// No paper is larger.
constexpr double kFarthest = 1e7;

void add_number(std::string& text, double number) {
  if (!std::isfinite(number)) number = 0;
  number = std::clamp(number, -kFarthest, kFarthest);
  std::array<char, 32> buffer{};
  const auto written = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number,
                                     std::chars_format::fixed, kDecimals);
  std::string_view digits(buffer.data(), static_cast<std::size_t>(written.ptr - buffer.data()));
  digits = digits.substr(0, digits.find_last_not_of('0') + 1);
  if (digits.ends_with('.')) digits.remove_suffix(1);
  text += digits == "-0" ? "0" : digits;
}

void add_attribute(std::string& text, std::string_view name, double number) {
  text += ' ';
  text += name;
  text += "=\"";
  add_number(text, number);
  text += '"';
}

void add_attribute(std::string& text, std::string_view name, std::string_view value) {
  text += ' ';
  text += name;
  text += "=\"";
  text += value;
  text += '"';
}

std::string_view class_of(Ink ink) {
  switch (ink) {
    case Ink::black:
      return "ink-black";
    case Ink::grey:
      return "ink-grey";
    case Ink::light:
      return "ink-light";
  }
  return {};
}

std::string colour_of(Ink ink) {
  if (ink == Ink::black) return "currentColor";
  constexpr double kMost = 255;
  constexpr const char* kDigits = "0123456789abcdef";
  const auto part = static_cast<unsigned>(std::lround(lightness(ink) * kMost));
  const std::string pair = {kDigits[part / 16], kDigits[part % 16]};
  return "#" + pair + pair + pair;
}

void add_point(std::string& path, Point point) {
  add_number(path, point.x);
  path += ' ';
  add_number(path, point.y);
}

std::string path_data(const std::vector<PathStep>& steps, Point corner) {
  std::string path;
  for (const PathStep& step : steps) {
    switch (step.kind) {
      case PathStep::Kind::move:
        path += 'M';
        break;
      case PathStep::Kind::line:
        path += 'L';
        break;
      case PathStep::Kind::curve:
        path += 'C';
        add_point(path, step.first_control + corner);
        path += ' ';
        add_point(path, step.second_control + corner);
        path += ' ';
        break;
      case PathStep::Kind::close:
        path += 'Z';
        continue;
    }
    add_point(path, step.to + corner);
  }
  return path;
}

void add_stroke(std::string& svg, const Stroke& stroke, Point corner) {
  svg += "<path";
  add_attribute(svg, "class", class_of(stroke.ink));
  add_attribute(svg, "d", path_data(stroke.path, corner));
  const std::string colour = colour_of(stroke.ink);
  add_attribute(svg, "fill", stroke.is_filled ? std::string_view(colour) : "none");
  if (stroke.width > 0) {
    add_attribute(svg, "stroke", colour);
    add_attribute(svg, "stroke-width", stroke.width);
  }
  if (stroke.is_dashed) {
    std::string dashes;
    add_number(dashes, kDash * stroke.width);
    dashes += ' ';
    add_number(dashes, kGap * stroke.width);
    add_attribute(svg, "stroke-dasharray", dashes);
  }
  svg += "/>\n";
}

void add_text(std::string& svg, const Text& text, Point corner) {
  const std::string line = one_line(text.text);
  if (line.find_first_not_of(' ') == std::string::npos) return;
  const Point at = text.at + corner;
  svg += "<text";
  add_attribute(svg, "class", class_of(text.ink));
  add_attribute(svg, "x", at.x);
  add_attribute(svg, "y", at.y);
  add_attribute(svg, "font-size", text.size);
  if (text.is_bold) add_attribute(svg, "font-weight", "bold");
  if (text.ink != Ink::black) add_attribute(svg, "fill", colour_of(text.ink));
  if (text.align != Align::left) {
    add_attribute(svg, "text-anchor", text.align == Align::right ? "end" : "middle");
  }
  if (text.rotation != 0) {
    std::string turn = "rotate(";
    add_number(turn, -text.rotation);
    turn += ' ';
    add_point(turn, at);
    add_attribute(svg, "transform", turn + ")");
  }
  // Another font takes the place that this one was given.
  add_attribute(svg, "textLength", text_width(line, text.size, text.is_bold));
  add_attribute(svg, "lengthAdjust", "spacingAndGlyphs");
  svg += '>' + escaped(line) + "</text>\n";
}

}  // namespace

std::string svg_begin(double width, double height, std::string_view title, SvgRole role) {
  std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\"";
  const auto add_size = [&svg](std::string_view name, double size) {
    std::string text;
    add_number(text, size);
    add_attribute(svg, name, text + "mm");
  };
  add_size("width", width);
  add_size("height", height);
  std::string box = "0 0 ";
  add_point(box, {width, height});
  add_attribute(svg, "viewBox", box);
  add_attribute(svg, "role", role == SvgRole::image ? "img" : "group");
  add_attribute(svg, "font-family", std::string(kFontFamily) + ", Verdana, sans-serif");
  add_attribute(svg, "fill", "currentColor");
  add_attribute(svg, "stroke-linejoin", "round");
  add_attribute(svg, "xml:space", "preserve");
  return svg + ">\n<title>" + escaped(one_line(title)) + "</title>\n";
}

std::string svg_marks(const Picture& picture, Point corner) {
  std::string svg;
  for (const Stroke& stroke : picture.strokes) add_stroke(svg, stroke, corner);
  for (const Text& text : picture.texts) add_text(svg, text, corner);
  return svg;
}

std::string svg_end() { return "</svg>\n"; }

std::string svg_of(const Picture& picture, std::string_view title, SvgRole role) {
  return svg_begin(picture.width, picture.height, title, role) + svg_marks(picture) + svg_end();
}

std::string escaped(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      case '\'':
        result += "&#39;";
        break;
      default:
        result += c;
    }
  }
  return result;
}

}  // namespace korvane::schedule::drawing
