#include "server/revision_tag.h"

#include <cstdint>
#include <limits>

#include "host/text/digest.h"
#include "schedule/line_kind.h"
#include "schedule/query.h"

namespace korvane::server {

using model::cad::Project_Service;
using schedule::integer_in;
using schedule::query;

namespace {

constexpr std::size_t kRowsAtATime = 1000;

void add_rows(Project_Service& project, const char* table, std::int32_t content_id,
              host::Digest& digest) {
  digest.add(table);
  std::int64_t last = std::numeric_limits<std::int64_t>::min();
  while (true) {
    const auto rows =
        query<2>(project, std::string("select id, raw from ") + table + " where id > " +
                              std::to_string(last) + " and rev_id = " + std::to_string(content_id) +
                              " order by id limit " + std::to_string(kRowsAtATime));
    for (const auto& [id, raw] : rows) {
      digest.add(raw.value_string.hasvalue() ? *raw.value_string : "");
      last = integer_in(id);
    }
    if (rows.size() < kRowsAtATime) return;
  }
}

std::string make_tag(Project_Service& project, const schedule::RevisionEntry& revision) {
  host::Digest digest;
  // One that was made anew under the uid of another is not that one.
  digest.add(std::to_string(revision.record.id));
  for (const auto& row : query<2>(project, "select uid, raw from revision where id = " +
                                               std::to_string(revision.record.id))) {
    for (const auto& cell : row) digest.add(cell.value_string.hasvalue() ? *cell.value_string : "");
  }
  schedule::for_each_line_kind(
      [&](auto kind) { add_rows(project, kind.kTable, revision.content_id, digest); });
  return '"' + digest.take() + '"';
}

bool is_meant(const krv::rpc4::Subject& subject, const model::cad::Revision& revision) {
  if (subject.id) return revision.id == *subject.id;
  return subject.uid && revision.uid == *subject.uid;
}

/// The longest text that a call can store.
constexpr std::size_t kLongestText = std::size_t{256} << 10U;

/// The text in SQL, which cannot have a zero byte in quotes.
std::string text_in_sql(const std::string& text) {
  return "cast(" + schedule::sql_blob(text) + " as text)";
}

}  // namespace

std::string RevisionTags::tag_of(Project_Service& project,
                                 const schedule::RevisionEntry& revision) {
  const std::string key =
      std::to_string(revision.record.id) + ' ' + std::to_string(revision.content_id);
  return tags_.get(project, key, [&] { return make_tag(project, revision); });
}

std::optional<std::string> RevisionTags::find(Project_Service& project,
                                              const krv::rpc4::Subject& subject) {
  const auto look = [&]() -> std::string {
    const schedule::Structure structure = schedule::read_structure(project);
    for (const schedule::SheetEntry& sheet : structure.sheets) {
      for (const schedule::RevisionEntry& revision : sheet.revisions) {
        if (is_meant(subject, revision.record)) return tag_of(project, revision);
      }
    }
    return "";
  };
  if (!subject.id && !subject.uid) return std::nullopt;
  const std::string key = subject.id ? "id " + std::to_string(*subject.id) : "uid " + *subject.uid;
  // Clients choose what is kept then.
  constexpr std::size_t kLongestKey = 100;
  const std::string tag = key.size() > kLongestKey ? look() : tags_.get(project, key, look);
  return tag.empty() ? std::nullopt : std::optional(tag);
}

std::optional<std::string> tag_of(const krv::rpc4::LiveService& live,
                                  const krv::rpc4::Subject& subject, RevisionTags& tags) {
  if (live.definition != &Project_Service::definition()) return std::nullopt;
  auto& project = *static_cast<Project_Service*>(live.service);
  if (subject.kind == "revision") return tags.find(project, subject);
  if (!subject.id && subject.uid && subject.uid->size() > kLongestText) return std::nullopt;
  const std::string by = subject.id ? "id = " + std::to_string(*subject.id)
                                    : "uid = " + text_in_sql(subject.uid.value_or(""));
  const auto rows =
      query<3>(project, "select id, uid, raw from " + std::string(subject.kind) + " where " + by);
  if (rows.empty()) return std::nullopt;
  host::Digest digest;
  digest.add(subject.kind);
  const auto& [id, uid, raw] = rows.front();
  digest.add(std::to_string(integer_in(id)));
  for (const Variant* const cell : {&uid, &raw}) {
    digest.add(cell->value_string.hasvalue() ? *cell->value_string : "");
  }
  return '"' + digest.take() + '"';
}

}  // namespace korvane::server
