#include "schedule/drawing/shape_codes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <optional>

#include "schedule/angles.h"

namespace korvane::schedule::drawing {

namespace {

constexpr std::string_view kBoth = "BS 8666, ISO 3766";
constexpr std::string_view kBs = "BS 8666";
constexpr std::string_view kBs2020 = "BS 8666:2020";

/// A straight piece that ends in a semicircle: its letter goes on to the apex.
double before_semicircle(const CodedBar& bar, char letter, char diameter) {
  return bar[letter] - bar[diameter] / 2;
}

/// A straight piece that ends in the quadrant with the radius R: its letter goes on to the corner.
double before_quadrant(const CodedBar& bar, char letter) {
  return bar[letter] - bar['R'] - bar.bar_diameter();
}

/// Where `rises(x)`, which grows from `low` to `high`, is `value`.
template <class Rises>
double solve(Rises rises, double value, double low, double high) {
  for (int i = 0; i < 100; ++i) {
    const double middle = (low + high) / 2;
    (rises(middle) < value ? low : high) = middle;
  }
  return (low + high) / 2;
}

struct Arch {
  double radius = 0;
  /// In radians.
  double half_opening = 0;
};

/// The arch that the arc length A, the chord B, the rise C and the radius R are of, from the first
/// two of them that do. None if there are no two, or no arch has both.
std::optional<Arch> arch_of(const CodedBar& bar) {
  const double arc = bar['A'];
  const double chord = bar['B'];
  const double rise = bar['C'];
  const double radius = bar['R'];
  if (radius > 0 && arc > 0) return Arch{radius, arc / radius / 2};
  if (radius > 0 && chord > 0 && chord <= 2 * radius) {
    const double half = std::asin(chord / 2 / radius);
    // More than half of a circle has the same chord, and is higher than its radius.
    return Arch{radius, rise > radius ? std::numbers::pi - half : half};
  }
  if (radius > 0 && rise > 0 && rise <= 2 * radius) {
    return Arch{radius, std::acos(1 - rise / radius)};
  }
  if (radius > 0) return std::nullopt;
  if (chord > 0 && rise > 0) {
    return Arch{(chord * chord / 4 + rise * rise) / (2 * rise), 2 * std::atan(2 * rise / chord)};
  }
  if (arc > chord && chord > 0) {
    const double half = solve([](double x) { return 1 - std::sin(x) / x; }, 1 - chord / arc, 1e-6,
                              std::numbers::pi);
    return Arch{arc / 2 / half, half};
  }
  // Up to here the rise of a given arc grows with the opening.
  constexpr double kHighest = 2.331;
  const auto height = [](double x) { return (1 - std::cos(x)) / x; };
  if (arc > 0 && rise > 0 && 2 * rise / arc <= height(kHighest)) {
    const double half = solve(height, 2 * rise / arc, 1e-6, kHighest);
    return Arch{arc / 2 / half, half};
  }
  return std::nullopt;
}

void build_arch(CodedBar& bar) {
  const std::optional<Arch> arch = arch_of(bar);
  if (!arch || arch->half_opening > std::numbers::pi) return bar.refuse();
  const double chord = 2 * arch->radius * std::sin(arch->half_opening);
  const double rise = arch->radius * (1 - std::cos(arch->half_opening));
  const double arc = 2 * arch->radius * arch->half_opening;
  if (bar.has('A') && !bar.agree(bar['A'], arc)) bar.refuse();
  if (bar.has('B') && !bar.agree(bar['B'], chord)) bar.refuse();
  if (bar.has('C') && !bar.agree(bar['C'], rise)) bar.refuse();
  // In two halves, as the rise is dimensioned at the apex.
  const double half = arch->half_opening / kRadiansPerDegree;
  const auto label = [&bar](char letter, const char* sign) {
    return bar.has(letter) ? std::optional(sign + bar.text(letter)) : std::nullopt;
  };
  bar.heading(half)
      .arc(arch->radius, -half, label('R', "R"))
      .arc(arch->radius, -half, label('A', "L "))
      .along(0, 2, 1, 'B')
      .across(0, 1, 1, 'C');
}

/// A link of four sides, with a right angle between A and B, whose ends lie along C and B.
void build_tapered_link(CodedBar& bar) {
  const double limit = std::min(bar['B'], bar['C']);
  const double along_c = bar.hook('E', 'F', limit);
  const double along_b = bar.hook('F', 'E', limit);
  // The triangle of C, D and the diagonal stands on the diagonal of the right angle.
  const double diagonal = std::hypot(bar['A'], bar['B']);
  const auto corner = [](double left, double right, double opposite) {
    return std::acos((left * left + right * right - opposite * opposite) / (2 * left * right)) /
           kRadiansPerDegree;
  };
  const double beside_a =
      std::atan2(bar['B'], bar['A']) / kRadiansPerDegree + corner(diagonal, bar['D'], bar['C']);
  const double beside_b =
      std::atan2(bar['A'], bar['B']) / kRadiansPerDegree + corner(diagonal, bar['C'], bar['D']);
  const double last = 360 - 90 - beside_a - beside_b;
  // Also where there is no such triangle: its angles are not numbers.
  constexpr double kSharpest = 1;
  const bool is_link = 180 - beside_a > kSharpest && 180 - beside_b > kSharpest && last > kSharpest;
  if (!is_link) return bar.refuse();
  bar.heading(90 + beside_b)
      .leg('E', along_c)
      .turn(180 - beside_b)
      .leg('B')
      .bend(90)
      .leg('A')
      .turn(180 - beside_a)
      .leg('D')
      .turn(180 - last)
      .leg('C')
      .turn(180 - beside_b)
      .leg('F', along_b);
}

/// Bars in the shape of a U whose ends are hooks that turn inwards by `angle`.
void build_open_link(CodedBar& bar, double angle) {
  const double first = bar.hook('C', 'D', bar['A']);
  const double second = bar.hook('D', 'C', bar['A']);
  bar.heading(270 - angle).leg('C', first).bend(angle).leg('A').bend(90).leg('B').bend(90);
  bar.leg('A').bend(angle).leg('D', second);
}

/// Closed rectangular links, whose ends turn inwards by `angle` at one corner.
void build_closed_link(CodedBar& bar, double angle) {
  const double limit = std::min(bar['A'], bar['B']);
  const double first = bar.hook('C', 'D', limit);
  const double second = bar.hook('D', 'C', limit);
  bar.heading(270 - angle).leg('C', first).bend(angle).leg('A').bend(90).leg('B').bend(90);
  bar.leg('A').bend(90).leg('B').bend(angle).leg('D', second);
}

void build_double_link(CodedBar& bar) {
  const double limit = std::min(bar['A'], bar['B']);
  const double first = bar.hook('C', 'D', limit);
  const double second = bar.hook('D', 'C', limit);
  bar.heading(90).leg('C', first).bend(90).leg('B').bend(90).leg('A').bend(90).leg('B').bend(90);
  bar.leg('A').bend(90).leg('B').bend(90).leg('D', second);
}

void build_flat_link(CodedBar& bar) {
  const double side = bar['A'] - bar['B'];
  const double end = before_semicircle(bar, 'C', 'B');
  if (bar['C'] > bar['A']) bar.refuse();
  bar.heading(180).leg('C', end).semicircle('B', 180).leg('A', side).semicircle('B', 180);
  bar.leg('A', side).semicircle('B', 180).leg('C', end);
}

void build_ring(CodedBar& bar) {
  const double centre_line = std::numbers::pi * (bar['A'] - bar.bar_diameter());
  bar.heading(0).arc(bar['A'] / 2 - bar.bar_diameter(), 360, "Ø" + bar.text('A'));
  if (bar.is_refused() || !bar.has('B')) return;
  if (bar['B'] > centre_line) return bar.refuse();
  bar.arc(bar['A'] / 2 - bar.bar_diameter(), 360 * bar['B'] / centre_line, bar.text('B'));
}

void build_helix(CodedBar& bar) {
  bar.arc(bar['A'] / 2 - bar.bar_diameter(), 360, "Ø" + bar.text('A')).coil(bar['C'], bar['B']);
}

void build_stool(CodedBar& bar) {
  const double a = bar['A'];
  const double b = bar['B'];
  const double c = bar['C'];
  bar.through({{0, 0, 0}, {0, 0, c}, {0, b, c}, {a, b, c}, {a, 0, c}, {a, 0, c + bar['D']}});
}

/// The bars as they lie in the figures, each from the end at which A is, if A is at an end. `across`
/// and `along` have the two corners, 0 for the start of the bar, and the leg that they go by.
constexpr std::array kCodes = {
    ShapeCode{"00", "A", "", kBoth, [](CodedBar& bar) { bar.heading(0).leg('A'); }},
    ShapeCode{"01", "A", "", kBs, [](CodedBar& bar) { bar.heading(0).leg('A'); }},
    ShapeCode{"11", "AB", "", kBoth,
              [](CodedBar& bar) { bar.heading(-90).leg('A').bend(90).leg('B'); }},
    ShapeCode{"12", "ABR", "", kBoth,
              [](CodedBar& bar) {
                bar.heading(-90).leg('A', before_quadrant(bar, 'A'));
                bar.arc(bar['R'], 90, "R" + bar.text('R')).leg('B', before_quadrant(bar, 'B'));
              }},
    ShapeCode{"13", "ABC", "", kBoth,
              [](CodedBar& bar) {
                bar.heading(0).leg('A', before_semicircle(bar, 'A', 'B')).semicircle('B', 180);
                bar.leg('C', before_semicircle(bar, 'C', 'B'));
              }},
    ShapeCode{"14", "AC", "BD", kBs,
              [](CodedBar& bar) {
                const double angle = bar.slope('A', 'B', 'D');
                bar.heading(-angle).leg('A').turn(angle - 180).leg('C');
                bar.across(0, 1, 1, 'B').along(0, 1, 1, 'D');
              }},
    ShapeCode{"15", "AC", "BD", kBoth,
              [](CodedBar& bar) {
                const double angle = bar.slope('A', 'B', 'D');
                bar.heading(180 + angle).leg('A').turn(-angle).leg('C');
                bar.across(0, 1, 1, 'B').along(0, 1, 1, 'D');
              }},
    ShapeCode{"21", "ABC", "", kBoth,
              [](CodedBar& bar) { bar.heading(-90).leg('A').bend(90).leg('B').bend(90).leg('C'); }},
    ShapeCode{"22", "ABCD", "", kBs,
              [](CodedBar& bar) {
                bar.heading(-90).leg('A').bend(90).leg('B', before_semicircle(bar, 'B', 'C'));
                bar.semicircle('C', 180).leg('D', before_semicircle(bar, 'D', 'C'));
              }},
    ShapeCode{
        "23", "ABC", "", kBs,
        [](CodedBar& bar) { bar.heading(-90).leg('A').bend(90).leg('B').bend(-90).leg('C'); }},
    ShapeCode{"24", "ABC", "DE", kBs,
              [](CodedBar& bar) {
                const double angle = bar.slope('B', 'D', 'E');
                bar.heading(0).leg('A').turn(angle).leg('B').turn(90 - angle).leg('C');
                bar.across(1, 2, 0, 'D').along(1, 2, 0, 'E');
              }},
    ShapeCode{"25", "ABCDE", "", kBoth,
              [](CodedBar& bar) {
                const double left = bar.slope('A', 'C');
                const double right = bar.slope('B', 'D');
                bar.heading(-left).leg('A').turn(left).leg('E').turn(right).leg('B');
                bar.across(0, 1, 1, 'C').across(2, 3, 1, 'D');
              }},
    ShapeCode{"26", "ABC", "DE", kBoth,
              [](CodedBar& bar) {
                const double angle = bar.slope('B', 'D', 'E');
                bar.heading(0).leg('A').turn(angle).leg('B').turn(-angle).leg('C');
                bar.across(1, 2, 0, 'D').along(1, 2, 0, 'E');
              }},
    ShapeCode{"27", "ABC", "DE", kBs,
              [](CodedBar& bar) {
                const double angle = bar.slope('A', 'D', 'E');
                bar.heading(angle).leg('A').turn(-angle).leg('B').bend(-90).leg('C');
                bar.across(0, 1, 1, 'D').along(0, 1, 1, 'E');
              }},
    ShapeCode{"28", "ABC", "DE", kBs,
              [](CodedBar& bar) {
                const double angle = bar.slope('A', 'D', 'E');
                bar.heading(angle).leg('A').turn(-angle).leg('B').bend(90).leg('C');
                bar.across(0, 1, 1, 'D').along(0, 1, 1, 'E');
              }},
    ShapeCode{"29", "ABC", "DE", kBs,
              [](CodedBar& bar) {
                const double angle = bar.slope('B', 'D', 'E');
                bar.heading(0).leg('A').turn(180 - angle).leg('B').turn(angle).leg('C');
                bar.across(1, 2, 0, 'D').along(1, 2, 0, 'E');
              }},
    ShapeCode{"31", "ABCD", "", kBoth,
              [](CodedBar& bar) {
                bar.heading(180).leg('A').bend(90).leg('B').bend(90).leg('C').bend(90).leg('D');
              }},
    ShapeCode{"32", "ABCD", "", kBs,
              [](CodedBar& bar) {
                bar.heading(180).leg('A').bend(90).leg('B').bend(90).leg('C').bend(-90).leg('D');
              }},
    ShapeCode{"33", "ABC", "", kBoth, build_flat_link},
    ShapeCode{"34", "ABCE", "DF", kBs,
              [](CodedBar& bar) {
                const double angle = bar.slope('B', 'D', 'F');
                bar.heading(0).leg('A').turn(angle).leg('B').turn(-angle).leg('C').bend(-90);
                bar.leg('E').across(1, 2, 0, 'D').along(1, 2, 0, 'F');
              }},
    ShapeCode{"35", "ABCE", "DF", kBs,
              [](CodedBar& bar) {
                const double angle = bar.slope('B', 'D', 'F');
                bar.heading(0).leg('A').turn(angle).leg('B').turn(-angle).leg('C').bend(90);
                bar.leg('E').across(1, 2, 0, 'D').along(1, 2, 0, 'F');
              }},
    ShapeCode{"36", "ABCD", "EF", kBs,
              [](CodedBar& bar) {
                const double angle = bar.slope('A', 'E', 'F');
                bar.heading(180 + angle).leg('A').turn(-angle).leg('B').bend(-90).leg('C');
                bar.bend(-90).leg('D').across(0, 1, 1, 'E').along(0, 1, 1, 'F');
              }},
    ShapeCode{"41", "ABCDE", "", kBoth,
              [](CodedBar& bar) {
                bar.heading(180).leg('A').bend(90).leg('B').bend(90).leg('C').bend(90).leg('D');
                bar.bend(90).leg('E');
              }},
    ShapeCode{"44", "ABCDE", "", kBoth,
              [](CodedBar& bar) {
                bar.heading(0).leg('A').bend(-90).leg('B').bend(90).leg('C').bend(90).leg('D');
                bar.bend(-90).leg('E');
              }},
    ShapeCode{"46", "ABCE", "DF", kBoth,
              [](CodedBar& bar) {
                const double angle = bar.slope('B', 'D', 'F');
                bar.heading(0).leg('A').turn(-angle).leg('B').turn(angle).leg('C').turn(angle);
                bar.leg('B').turn(-angle).leg('E').across(1, 2, 0, 'D').along(1, 2, 0, 'F');
              }},
    ShapeCode{"47", "AB", "CD", kBs, [](CodedBar& bar) { build_open_link(bar, 180); }},
    ShapeCode{"48", "AB", "CD", kBs2020, [](CodedBar& bar) { build_open_link(bar, 135); }},
    ShapeCode{"51", "AB", "CD", kBs, [](CodedBar& bar) { build_closed_link(bar, 90); }},
    ShapeCode{"52", "AB", "CD", kBs2020, [](CodedBar& bar) { build_closed_link(bar, 135); }},
    ShapeCode{"56", "ABCD", "EF", kBs, build_tapered_link},
    ShapeCode{"63", "AB", "CD", kBs, build_double_link},
    ShapeCode{"64", "ABCDEF", "", kBs,
              [](CodedBar& bar) {
                bar.heading(180).leg('A').bend(90).leg('B').bend(90).leg('C').bend(90).leg('D');
                bar.bend(90).leg('E').bend(90).leg('D').bend(90).leg('F');
              }},
    ShapeCode{"67", "", "ABCR", kBoth, build_arch},
    ShapeCode{"75", "A", "B", kBs, build_ring},
    ShapeCode{"77", "ABC", "", kBoth, build_helix},
    ShapeCode{"98", "ABCD", "", kBs, build_stool},
};

}  // namespace

std::span<const ShapeCode> shape_codes() { return kCodes; }

}  // namespace korvane::schedule::drawing
