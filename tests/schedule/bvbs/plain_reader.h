#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// A second reader of the bar schedule exchange format, made from its description alone. It shares
/// nothing with the product and refuses what a bending machine would.
namespace korvane::test {

struct PlainLeg {
  bool is_curved = false;
  /// The length, or the radius of a curved leg.
  double size = 0;
  /// The bend after the leg, or the opening angle of a curved one.
  double angle = 0;
  /// Of a curved leg: the bend into the next leg.
  std::optional<double> next_bend;
};

/// Texts are the bytes of the file.
struct PlainRecord {
  std::string group;
  /// The letters of the header in their order.
  std::string header_order;
  std::map<char, std::string> header;
  std::vector<PlainLeg> legs;
  std::vector<std::array<double, 3>> offsets;
  /// Turns and their pitch.
  std::vector<std::pair<double, double>> turns;
  /// x or y, or 0 for a fabric that does not say which of its bars are bent.
  char bent_bars = 0;
  std::map<char, std::string> treatments;
  /// The other blocks, without their last @.
  std::vector<std::string> other_blocks;
  std::string private_text;
};

/// Reads one line, given without its end. Throws std::runtime_error for what is wrong with it.
PlainRecord read_plain(const std::string& line);

/// Whether the header has all fields that the group asks for, in their order.
bool has_whole_header(const PlainRecord& record);

/// Reads lines that all end in CR LF.
std::vector<PlainRecord> read_plain_file(const std::string& text);

}  // namespace korvane::test
