#pragma once

#include <string>
#include <vector>

#include "schedule/bending_list.h"
#include "schedule/drawing/table_layout.h"

/// Which columns the lines of a bending list have on paper.
namespace korvane::schedule::drawing {

TableLayout bar_layout();
TableLayout fabric_layout();
TableLayout spacer_layout();
TableLayout part_layout();

/// Rows whose numbers have as many digits after the point as the one of `lines` that has most.
class BarRows {
 public:
  explicit BarRows(const std::vector<BendingBar>& lines);
  /// Refers to the shape of `bar`, as FabricRows does.
  PaperRow operator()(const BendingBar& bar) const;

 private:
  int diameter_ = 0;
  int length_ = 0;
  int mandrel_ = 0;
};

class FabricRows {
 public:
  explicit FabricRows(const std::vector<BendingFabric>& lines);
  PaperRow operator()(const BendingFabric& fabric) const;

 private:
  int length_ = 0;
  int mandrel_ = 0;
};

class SpacerRows {
 public:
  explicit SpacerRows(const std::vector<BendingSpacer>& lines);
  PaperRow operator()(const BendingSpacer& spacer) const;

 private:
  int length_ = 0;
};

PaperRow part_row(const BendingPart& part);

/// "Weight of all: 12.34 kg", with what is not among it.
Block weight_block(const Totals& totals);

/// A row for each revision, with its lines, pieces and weight.
Table summary_table(const BendingList& list);

/// What says that texts of rows with these marks are not whole; nothing for none.
std::vector<std::string> shortened_notes(const std::vector<std::string>& marks);

}  // namespace korvane::schedule::drawing
