#include "schedule/content.h"

#include <iterator>
#include <utility>

#include "contracts/encoding/record_codec.h"
#include "schedule/line_kind.h"
#include "schedule/query.h"
#include "schedule/stored_line.h"

namespace korvane::schedule {

using namespace model::cad;

namespace {

/// Rows of one reply: enough to make a call worth its while, few enough for any server.
constexpr std::size_t kRowsAtATime = 1000;

/// Records of one batch. Each batch is one transaction.
constexpr std::size_t kItemsAtATime = 4000;

void add(Project_Service& project, Batch<Rebar> batch, GenericReply& reply) {
  project.add_rebar(std::move(batch), reply);
}
void add(Project_Service& project, Batch<Fabric> batch, GenericReply& reply) {
  project.add_fabric(std::move(batch), reply);
}
void add(Project_Service& project, Batch<BarSpacer> batch, GenericReply& reply) {
  project.add_barspacer(std::move(batch), reply);
}
void add(Project_Service& project, Batch<MountingPart> batch, GenericReply& reply) {
  project.add_mountingpart(std::move(batch), reply);
}

template <class T>
void add_items(Project_Service& project, std::int32_t sheet_id, std::int32_t rev_id,
               const std::vector<T>& items) {
  Batch<T> batch;
  const auto send = [&] {
    GenericReply reply;
    if (!batch.items.empty()) add(project, std::exchange(batch, {}), reply);
  };
  for (const T& original : items) {
    T& item = batch.items.emplace_back(original);
    item.sheet_id = sheet_id;
    item.rev_id = rev_id;
    if (batch.items.size() == kItemsAtATime) send();
  }
  send();
}

}  // namespace

void add_content(Project_Service& project, std::int32_t sheet_id, std::int32_t rev_id,
                 const Content& content) {
  add_items(project, sheet_id, rev_id, content.fabrics);
  add_items(project, sheet_id, rev_id, content.bar_spacers);
  add_items(project, sheet_id, rev_id, content.mounting_parts);
  add_items(project, sheet_id, rev_id, content.bars);
}

ContentReader::ContentReader(Project_Service& project) : project_(project) {
  for (const char* const table : {LineKind<Rebar>::kTable, LineKind<Fabric>::kTable,
                                  LineKind<BarSpacer>::kTable, LineKind<MountingPart>::kTable}) {
    std::map<std::int32_t, Rows>& rows = rows_[table];
    for (const auto& [rev_id, first, last, count] :
         query<4>(project, std::string("select rev_id, min(id), max(id), count(*) from ") + table +
                               " where rev_id is not null group by rev_id")) {
      rows[static_cast<std::int32_t>(integer_in(rev_id))] = {
          integer_in(first), integer_in(last), static_cast<std::size_t>(integer_in(count))};
    }
  }
}

template <class T>
void ContentReader::for_each(std::int32_t rev_id,
                             const std::function<void(T&& item)>& visit) const {
  const auto& rows = rows_.at(LineKind<T>::kTable);
  const auto found = rows.find(rev_id);
  if (found == rows.end()) return;
  std::int64_t next = found->second.first;
  while (next <= found->second.last) {
    const auto page = query<2>(project_, std::string("select id, raw from ") + LineKind<T>::kTable +
                                             " where id between " + std::to_string(next) + " and " +
                                             std::to_string(found->second.last) +
                                             " and rev_id = " + std::to_string(rev_id) +
                                             " order by id limit " + std::to_string(kRowsAtATime));
    if (page.empty()) return;
    for (const auto& [cell, raw] : page) {
      const std::int64_t id = integer_in(cell);
      visit(stored_line<T>(id, raw));
      next = id + 1;
    }
  }
}

template void ContentReader::for_each(std::int32_t,
                                      const std::function<void(Rebar&&)>& visit) const;
template void ContentReader::for_each(std::int32_t,
                                      const std::function<void(Fabric&&)>& visit) const;
template void ContentReader::for_each(std::int32_t,
                                      const std::function<void(BarSpacer&&)>& visit) const;
template void ContentReader::for_each(std::int32_t,
                                      const std::function<void(MountingPart&&)>& visit) const;

Content ContentReader::read(std::int32_t rev_id) const {
  Content content;
  for_each_kind(
      [&](auto& list) {
        using T = typename std::decay_t<decltype(list)>::value_type;
        for_each<T>(rev_id, [&](T&& item) { list.push_back(std::move(item)); });
      },
      content);
  return content;
}

void ContentReader::read_in_parts(std::int32_t rev_id,
                                  const std::function<void(Content&& part)>& visit) const {
  Content part;
  for_each_kind(
      [&](auto& list) {
        using T = typename std::decay_t<decltype(list)>::value_type;
        for_each<T>(rev_id, [&](T&& item) {
          list.push_back(std::move(item));
          if (list.size() == kRowsAtATime) visit(std::exchange(part, {}));
        });
        if (!list.empty()) visit(std::exchange(part, {}));
      },
      part);
}

void ContentReader::for_each_bar(std::int32_t rev_id,
                                 const std::function<void(Rebar&& bar)>& visit) const {
  for_each<Rebar>(rev_id, visit);
}

std::size_t ContentReader::size(std::int32_t rev_id) const {
  std::size_t size = 0;
  for (const auto& [table, rows] : rows_) size += size_in(table, rev_id);
  return size;
}

std::size_t ContentReader::size_in(const std::string& table, std::int32_t rev_id) const {
  const auto& rows = rows_.at(table);
  const auto found = rows.find(rev_id);
  return found == rows.end() ? 0 : found->second.count;
}

}  // namespace korvane::schedule
