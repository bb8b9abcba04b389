#include "schedule/line_page.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "platform/rpc4/failure.h"
#include "schedule/column_list.h"
#include "schedule/line_kind.h"
#include "schedule/query.h"
#include "schedule/stored_line.h"

namespace korvane::schedule {

using model::cad::Project_Service;

namespace {

/// Rows of one reply of the project's.
constexpr std::size_t kRowsAtATime = 1000;

template <class T>
std::size_t place_of(const Columns<T>& columns, const std::string& name) {
  std::string known;
  for (std::size_t place = 0; place < columns.size(); ++place) {
    if (columns.column(place).name == name) return place;
    known += (place == 0 ? "" : ", ") + columns.column(place).name;
  }
  throw krv::rpc4::BadRequest(std::string(LineKind<T>::kName) + " have no column \"" + name +
                              "\": expected " + known);
}

/// The places of columns in their list.
template <class T>
std::vector<std::size_t> places_of(const std::vector<std::string>& names) {
  const Columns<T>& columns = columns_of<T>();
  std::vector<std::size_t> places;
  for (const std::string& name : names) places.push_back(place_of(columns, name));
  if (names.empty()) {
    places.resize(columns.size());
    std::iota(places.begin(), places.end(), std::size_t{0});
  }
  return places;
}

/// Reads the lines of one page.
template <class T>
class PageReader {
 public:
  PageReader(Project_Service& project, const Structure& structure, const SelectedRevision& selected,
             const std::vector<std::string>& columns, const LineVisit& visit,
             const DamagedVisit& visit_damaged)
      : project_(project),
        structure_(structure),
        selected_(selected),
        places_(places_of<T>(columns)),
        visit_(visit),
        visit_damaged_(visit_damaged) {}

  /// Reads that many rows with ids in that range, and returns the id of the last one.
  std::optional<std::int64_t> read(std::int64_t first, std::int64_t last, std::size_t limit) const {
    const auto rows = query<2>(
        project_, std::string("select id, raw from ") + LineKind<T>::kTable + " where id between " +
                      std::to_string(first) + " and " + std::to_string(last) +
                      " and rev_id = " + std::to_string(selected_.revision->content_id) +
                      " order by id limit " + std::to_string(limit));
    std::optional<std::int64_t> id;
    for (const auto& [cell, raw] : rows) {
      id = integer_in(cell);
      const std::optional<T> item = readable(*id, raw);
      if (item) show(*id, *item);
    }
    return id;
  }

 private:
  std::optional<T> readable(std::int64_t id, const Variant& raw) const {
    try {
      return stored_line<T>(id, raw);
    } catch (const krv::rpc4::UnusableRow& damage) {
      visit_damaged_(id, LineKind<T>::kTable, damage.what());
      return std::nullopt;
    }
  }

  void show(std::int64_t id, const T& item) const {
    const Columns<T>& columns = columns_of<T>();
    const ScheduleLine<T> line = line_of(structure_, selected_, item);
    std::vector<Cell> cells;
    cells.reserve(places_.size());
    for (const std::size_t place : places_) cells.push_back(columns.value(line, place));
    visit_(id, cells);
  }

  Project_Service& project_;
  const Structure& structure_;
  const SelectedRevision& selected_;
  const std::vector<std::size_t> places_;
  const LineVisit& visit_;
  const DamagedVisit& visit_damaged_;
};

}  // namespace

LineRange find_range(Project_Service& project, const std::string& kind, std::int32_t content_id) {
  LineRange range;
  with_line_kind(kind, [&](auto each) {
    const auto [count, first, last] =
        query_row<3>(project, std::string("select count(*), coalesce(min(id), 0), "
                                          "coalesce(max(id), 0) from ") +
                                  each.kTable + " where rev_id = " + std::to_string(content_id));
    range = {static_cast<std::size_t>(integer_in(count)), integer_in(first), integer_in(last)};
  });
  return range;
}

std::vector<Column> columns_of_kind(const std::string& kind,
                                    const std::vector<std::string>& names) {
  std::vector<Column> columns;
  with_line_kind(kind, [&](auto each) {
    using T = typename decltype(each)::Line;
    for (const std::size_t place : places_of<T>(names)) {
      columns.push_back(columns_of<T>().column(place));
    }
  });
  return columns;
}

std::optional<std::int64_t> read_page(Project_Service& project, const Structure& structure,
                                      const SelectedRevision& selected, const LineRange& range,
                                      const LinePage& page, const LineVisit& visit,
                                      const DamagedVisit& visit_damaged) {
  std::optional<std::int64_t> next;
  with_line_kind(page.kind, [&](auto each) {
    using T = typename decltype(each)::Line;
    const PageReader<T> reader(project, structure, selected, page.columns, visit, visit_damaged);
    if (range.count == 0 || page.after >= range.last) return;
    std::int64_t first = page.after < range.first ? range.first : page.after + 1;
    for (std::size_t left = page.limit; left != 0;) {
      const std::size_t rows = std::min(left, kRowsAtATime);
      const std::optional<std::int64_t> id = reader.read(first, range.last, rows);
      if (!id || *id >= range.last) return;
      first = *id + 1;
      left -= rows;
    }
    next = first - 1;
  });
  return next;
}

}  // namespace korvane::schedule
