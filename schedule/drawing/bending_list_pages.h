#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "schedule/bending_list.h"
#include "schedule/drawing/picture.h"
#include "schedule/drawing/table_layout.h"

namespace korvane::schedule::drawing {

/// The bending list on A4: each revision begins a page, under a heading that every page has; a row
/// stays whole; totals follow the rows, and those of all revisions come last. What is long is broken
/// into lines, what is too long ends in "…", and a note says so.
class BendingListPages {
 public:
  /// `date` is printed as it is. `after_row` is called after each row, of which there may be many:
  /// what it throws ends the work.
  BendingListPages(
      BendingList list, std::string date, const std::function<void()>& after_row = [] {});
  /// Rows refer to the list's shapes.
  BendingListPages(const BendingListPages&) = delete;
  BendingListPages& operator=(const BendingListPages&) = delete;

  /// At least 1.
  std::size_t count() const { return pages_.size(); }
  /// Makes the sketches of one page: pages are not held. `index` is below count().
  Picture page(std::size_t index) const;
  /// What begins on this page, for a list of contents: "Sheet 417, revision a". Empty where
  /// something goes on.
  const std::string& name(std::size_t index) const { return pages_[index].name; }
  /// Of the document: "Bending list TestPDF".
  std::string title() const;
  const std::string& date() const { return date_; }

 private:
  struct PlacedBlock {
    double y = 0;
    const Block* block = nullptr;
  };
  struct Page {
    const BendingSheet* sheet = nullptr;
    std::string name;
    std::vector<PlacedBlock> blocks;
  };

  void add_sheet(const BendingSheet& sheet, const std::function<void()>& after_row);
  void add_totals(const BendingSheet& sheet);
  void add_summary();
  template <class Line, class RowOf>
  void add_lines(const char* title, const TableLayout& layout, const std::vector<Line>& lines,
                 RowOf row_of, const std::function<void()>& after_row);
  void add_table(const Table& table);

  void begin_page(const BendingSheet& sheet, const std::string& name);
  /// Puts a block on the page; on the next, under `head` if that is not null, if there is no room
  /// for it and for `and_after` millimetres more.
  void place(Block block, const Block* head = nullptr, double and_after = 0);
  const Block* keep(Block block);

  void add_heading(Picture& page, std::size_t index) const;

  BendingList list_;
  std::string date_;
  /// In the heading of pages about no revision or all.
  BendingSheet summary_;
  std::vector<Page> pages_;
  /// Their addresses stay.
  std::deque<Block> blocks_;
  double y_ = 0;
  /// Marks of rows with a shortened text, of the sheet that is laid out.
  std::vector<std::string> shortened_;
};

}  // namespace korvane::schedule::drawing
