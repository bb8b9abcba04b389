#pragma once

#include <optional>
#include <string>
#include <vector>

#include "schedule/drawing/picture.h"
#include "schedule/drawing/shape.h"
#include "schedule/table.h"

/// Tables on paper. All measures are millimetres.
namespace korvane::schedule::drawing {

/// A4 upright, with a wider margin on the side where it is filed.
inline constexpr double kPageWidth = 210;
inline constexpr double kPageHeight = 297;
inline constexpr double kPageLeft = 17;
inline constexpr double kPageTop = 12;
inline constexpr double kPageBottom = 287;
inline constexpr double kContentWidth = 182;

inline constexpr double kSketchWidth = 59;
inline constexpr double kSketchHeight = 22;

inline constexpr double kHairline = 0.1;
/// Sizes of texts: of values, and of what stands under and above them.
inline constexpr double kValueSize = 2.9;
inline constexpr double kSmallSize = 2.5;

/// A part of a page that stays whole.
struct Block {
  /// As wide as the content of a page, without the sketch.
  Picture picture;
  /// The sketch at its right end, if there is one. Not owned.
  const Shape* shape = nullptr;
  /// A text in it ends in "…", and its end is nowhere else.
  bool is_shortened = false;
};

struct PaperColumn {
  std::string title;
  /// In the head, under the title.
  std::string unit;
  double width = 0;
  Align align = Align::left;
  /// A number is one line, in smaller type if need be; any other text has several.
  bool is_number = false;
};

struct PaperCell {
  std::string text;
  /// In small type under it.
  std::string below = {};
  bool is_bold = false;
};

struct PaperRow {
  std::vector<PaperCell> cells;
  /// Under the cells, each beginning a line.
  std::vector<std::string> remarks = {};
  const Shape* shape = nullptr;
};

/// The columns of a table, and what is drawn in them.
class TableLayout {
 public:
  /// The columns take the content's width together, less that of the sketch if there is one.
  TableLayout(std::vector<PaperColumn> columns, bool has_sketch);
  /// Columns for a table of any kind. Those that hide zero and have nothing else are left out, and
  /// so are those for programs.
  explicit TableLayout(const Table& table);

  /// Titles and units, with the table's own title above them.
  Block head(const std::string& title) const;
  /// As high as its texts need, half a page at most. What is too long for its cell stands whole
  /// among the remarks.
  Block row(const PaperRow& row) const;
  /// A row of the table that the layout was made for.
  Block row(const std::vector<Cell>& cells, bool is_total) const;

 private:
  /// False if the text is longer than the cell, and ends in "…".
  bool add_cell(Block& block, const PaperColumn& column, const PaperCell& cell, double left,
                double& bottom) const;
  void add_remarks(Block& block, const std::vector<std::string>& remarks, double width,
                   double& bottom) const;

  std::vector<PaperColumn> columns_;
  /// Of a Table, those that are shown: their descriptions and indexes.
  std::vector<std::pair<Column, std::size_t>> shown_;
  bool has_sketch_ = false;
};

/// A paragraph of the content's width, in small type.
Block paragraph(const std::string& text, std::size_t most_lines);

/// A title above several tables.
Block title_block(const std::string& text);

/// A number for a cell: exactly so many digits after the point; with an exponent if it is very
/// large. Nothing for none.
std::string paper_number(const std::optional<double>& number, int decimals);

/// How many digits after the point a number needs, 3 at most.
int decimals_of(const std::optional<double>& number);

}  // namespace korvane::schedule::drawing
