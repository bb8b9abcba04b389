#include "schedule/drawing/coded_bar.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "schedule/angles.h"
#include "schedule/bvbs/numbers.h"

namespace korvane::schedule::drawing {

namespace {

/// What a length can be: thinner than paper it cannot be drawn, and longer than a kilometre it is
/// not the length of a bar.
constexpr double kShortest = 0.001;
constexpr double kLongest = 1e6;

bool is_length(double number) { return number >= kShortest && number <= kLongest; }

double length_of(const bond::nullable<double>& letter) {
  return letter.hasvalue() && is_length(*letter) ? *letter : 0;
}

std::size_t place_of(char letter) {
  return letter == 'R' ? 6 : static_cast<std::size_t>(letter - 'A');
}

}  // namespace

CodedBar::CodedBar(const model::cad::RebarParams& letters, double bar_diameter,
                   double bend_diameter)
    : lengths_{length_of(letters.a), length_of(letters.b), length_of(letters.c),
               length_of(letters.d), length_of(letters.e), length_of(letters.f),
               length_of(letters.r)} {
  shape_.kind = Shape::Kind::flat;
  shape_.bar_diameter = is_length(bar_diameter) ? bar_diameter : 0;
  shape_.bend_diameter = is_length(bend_diameter) ? bend_diameter : 0;
}

double CodedBar::operator[](char letter) const { return lengths_.at(place_of(letter)); }

bool CodedBar::agree(double given, double derived) const {
  constexpr double kPart = 0.1;
  return std::abs(given - derived) <= kPart * std::max(given, derived) + 2 * bar_diameter();
}

double CodedBar::slope(char length, char rise) {
  const double part = (*this)[rise] / (*this)[length];
  if (part <= 1) return std::asin(part) / kRadiansPerDegree;
  refuse();
  return 0;
}

double CodedBar::slope(char length, char rise, char run) {
  if (!has(rise) && !has(run)) refuse();
  if (!has(run)) return slope(length, rise);
  const double from_run = 90 - slope(length, run);
  if (!has(rise)) return from_run;
  if (!agree(std::hypot((*this)[rise], (*this)[run]), (*this)[length])) refuse();
  return slope(length, rise);
}

double CodedBar::hook(char letter, char twin, double limit) {
  const double given = has(letter) ? (*this)[letter] : (*this)[twin];
  if (given > limit) refuse();
  constexpr double kShortestHook = 75;
  constexpr double kDiameters = 10;
  return given > 0 ? given
                   : std::min(std::max(kDiameters * bar_diameter(), kShortestHook), limit / 2);
}

CodedBar& CodedBar::heading(double degrees) {
  shape_.heading = degrees;
  return *this;
}

void CodedBar::add(Leg leg) { shape_.legs.push_back(std::move(leg)); }

CodedBar& CodedBar::leg(char letter, double length) {
  if (!is_length(length)) refuse();
  Leg leg{.length = length};
  if (has(letter) && printed_.find(letter) == std::string::npos) {
    leg.label = text(letter);
    printed_ += letter;
  }
  add(std::move(leg));
  return *this;
}

CodedBar& CodedBar::bend(double degrees) {
  shape_.legs.back().bend = degrees;
  return *this;
}

CodedBar& CodedBar::turn(double degrees) {
  shape_.legs.back().bend_label = "";
  return bend(degrees);
}

CodedBar& CodedBar::arc(double radius, double opening, std::optional<std::string> label) {
  if (!is_length(radius)) refuse();
  add({.kind = Leg::Kind::arc, .radius = radius, .opening = opening, .label = std::move(label)});
  return *this;
}

CodedBar& CodedBar::semicircle(char diameter, double opening) {
  const std::size_t leg = shape_.legs.size();
  arc((*this)[diameter] / 2 - bar_diameter(), opening);
  if (printed_.find(diameter) != std::string::npos) return *this;
  printed_ += diameter;
  return across(leg, leg + 1, leg - 1, diameter);
}

CodedBar& CodedBar::along(std::size_t from, std::size_t to, std::size_t leg, char letter) {
  return span({.from = from, .to = to, .leg = leg, .is_across = false, .label = {}}, letter);
}

CodedBar& CodedBar::across(std::size_t from, std::size_t to, std::size_t leg, char letter) {
  return span({.from = from, .to = to, .leg = leg, .is_across = true, .label = {}}, letter);
}

CodedBar& CodedBar::span(Span span, char letter) {
  if (!has(letter)) return *this;
  span.label = text(letter);
  shape_.spans.push_back(std::move(span));
  return *this;
}

CodedBar& CodedBar::through(std::vector<model::geometry::Point3d> points) {
  shape_.kind = Shape::Kind::spatial;
  shape_.points = std::move(points);
  return *this;
}

CodedBar& CodedBar::coil(double turns, double pitch) {
  shape_.kind = Shape::Kind::helix;
  shape_.turns = {{.count = turns, .pitch = pitch}};
  return *this;
}

std::string CodedBar::text(char letter) const {
  constexpr double kThousandths = 1000;
  return bvbs::number_text(std::round((*this)[letter] * kThousandths) / kThousandths);
}

std::optional<Shape> CodedBar::shape() const {
  if (is_refused_) return std::nullopt;
  return shape_;
}

}  // namespace korvane::schedule::drawing
