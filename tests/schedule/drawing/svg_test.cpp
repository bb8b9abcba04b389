#include "schedule/drawing/svg.h"

#include <cmath>
#include <limits>
#include <string>

#include <Poco/AutoPtr.h>
#include <Poco/DOM/DOMParser.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>
#include <Poco/DOM/NodeList.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "schedule/drawing/fonts.h"

namespace korvane::schedule::drawing {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// An SVG as a strict reader of XML takes it.
class Parsed {
 public:
  explicit Parsed(const std::string& svg) : document_(Poco::XML::DOMParser().parseString(svg)) {}

  const Poco::XML::Element& root() const { return *document_->documentElement(); }
  /// The only element of this name.
  const Poco::XML::Element& only(const std::string& name) const {
    Poco::AutoPtr<Poco::XML::NodeList> list(document_->getElementsByTagName(name));
    EXPECT_EQ(list->length(), 1U) << name;
    return static_cast<const Poco::XML::Element&>(*list->item(0));
  }

 private:
  Poco::AutoPtr<Poco::XML::Document> document_;
};

Picture picture_of(const Text& text) { return {60, 22, {}, {text}}; }
Picture picture_of(const Stroke& stroke) { return {60, 22, {stroke}, {}}; }

TEST(Svg, HasItsSizeInMillimetresAndATitle) {
  const Parsed svg(svg_of({60, 22.5, {}, {}}, "Mark <7>"));
  EXPECT_EQ(svg.root().getAttribute("width"), "60mm");
  EXPECT_EQ(svg.root().getAttribute("height"), "22.5mm");
  EXPECT_EQ(svg.root().getAttribute("viewBox"), "0 0 60 22.5");
  EXPECT_EQ(svg.root().getAttribute("role"), "img");
  EXPECT_EQ(svg.only("title").innerText(), "Mark <7>");
}

TEST(Svg, TextsStayTexts) {
  const Parsed svg(svg_of(picture_of(Text{{10, 20}, "ø 12 & <400>", 2.5, Align::right, true}), ""));
  const auto& text = svg.only("text");
  EXPECT_EQ(text.innerText(), "ø 12 & <400>");
  EXPECT_EQ(text.getAttribute("x"), "10");
  EXPECT_EQ(text.getAttribute("text-anchor"), "end");
  EXPECT_EQ(text.getAttribute("font-weight"), "bold");
  EXPECT_NEAR(std::stod(text.getAttribute("textLength")), text_width("ø 12 & <400>", 2.5, true),
              0.001);
}

TEST(Svg, ATextIsTurnedCounterClockwise) {
  const Parsed svg(svg_of(picture_of(Text{{10, 20}, "a", 2, Align::left, false, 90}), ""));
  EXPECT_EQ(svg.only("text").getAttribute("transform"), "rotate(-90 10 20)");
}

TEST(Svg, AStrokeHasItsPathInkAndWidth) {
  Stroke stroke{path_through({{0, 1.23456}, {-2, 0}}), 0.3, Ink::grey};
  stroke.path.push_back({PathStep::Kind::curve, {3, 3}, {1, 1}, {2, 2}});
  stroke.path.push_back({PathStep::Kind::close, {}});
  const Parsed svg(svg_of(picture_of(stroke), ""));
  const auto& path = svg.only("path");
  EXPECT_EQ(path.getAttribute("d"), "M0 1.235L-2 0C1 1 2 2 3 3Z");
  EXPECT_EQ(path.getAttribute("stroke-width"), "0.3");
  EXPECT_EQ(path.getAttribute("fill"), "none");
  EXPECT_EQ(path.getAttribute("class"), "ink-grey");
}

TEST(Svg, BlackIsTheColourOfTheTextAround) {
  Stroke stroke{rectangle({0, 0}, 1, 1), 0, Ink::black, true};
  EXPECT_THAT(svg_of(picture_of(stroke), ""), HasSubstr("fill=\"currentColor\""));
  EXPECT_THAT(svg_of(picture_of(stroke), ""), Not(HasSubstr("stroke-width")));
}

TEST(Svg, PutsMarksAtACorner) {
  EXPECT_THAT(svg_marks(picture_of(Stroke{path_through({{1, 2}, {3, 4}}), 0.1}), {10, 20}),
              HasSubstr("M11 22L13 24"));
}

TEST(Svg, OfHostileTextsIsValidAndRunsNothing) {
  const std::string texts[] = {"</text></svg><script>alert(1)</script>",
                               "\" onload=\"alert(1)",
                               "]]><![CDATA[",
                               "&lt;&#0;&x;",
                               std::string("\0\x01\x08\x0B\x1F\x7F", 6),
                               "\xFF\xFE\xC3(",
                               "\xEF\xBF\xBE\xEF\xBF\xBF",
                               "a\r\nb\tc",
                               "\xE2\x80\xAE\xD7\x90 abc"};
  for (const std::string& text : texts) {
    const std::string svg = svg_of(picture_of(Text{{1, 1}, text, 2}), text);
    const Parsed parsed(svg);
    EXPECT_THAT(svg, Not(HasSubstr("<script"))) << text;
    EXPECT_FALSE(parsed.root().hasAttribute("onload")) << text;
    EXPECT_FALSE(parsed.only("text").hasAttribute("onload")) << text;
  }
}

TEST(Svg, OfNumbersThatAreNotFiniteIsValid) {
  const double none = std::numeric_limits<double>::quiet_NaN();
  const double far = std::numeric_limits<double>::infinity();
  Picture picture{60, 22, {{path_through({{none, far}, {-far, 1e300}}), 0.2}}, {}};
  picture.texts.push_back({{none, far}, "a", 2, Align::left, false, none});
  const std::string svg = svg_of(picture, "");
  EXPECT_THAT(svg, Not(HasSubstr("nan")));
  EXPECT_THAT(svg, Not(HasSubstr("inf")));
  EXPECT_EQ(Parsed(svg).only("path").getAttribute("d"), "M0 0L0 10000000");
}

}  // namespace
}  // namespace korvane::schedule::drawing
