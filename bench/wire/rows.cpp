#include "bench/wire/rows.h"

#include <string>
#include <utility>
#include <vector>

#include "bench/bench.h"
#include "bench/plain_sqlite.h"
#include "bench/protobuf_message.h"
#include "bench/schedule.pb.h"
#include "contracts/cad/contracts.describe.h"
#include "contracts/encoding/json.h"
#include "contracts/encoding/record_codec.h"
#include "model/plugins/korvane.model.cad.project/project.h"

namespace korvane::bench::wire {

namespace fs = std::filesystem;
using namespace model::cad;

namespace {

Rows fill(const std::string& filename, int bars) {
  Project_Service_Impl service(0, filename);
  Rows rows;
  SheetRef sheet;
  service.create_sheet(typical<Sheet>(), sheet);
  rows.sheet.id = sheet.id.value();
  for (RevisionRef* const ref : {&rows.full, &rows.empty}) {
    Revision revision;
    revision.sheet_id = sheet.id.value();
    RevisionRef made;
    service.create_revision(revision, made);
    ref->id = made.id.value();
  }
  Material material = typical<Material>();
  MaterialRef material_ref;
  for (int i = 0; i < kMaterials; ++i) {
    material.uid = "uid " + std::to_string(i);
    service.create_material(material, material_ref);
  }
  Rebar bar = typical<Rebar>();
  bar.end_treatment_start.reset();
  bar.end_treatment_end.reset();
  bar.material_id.set(material_ref.id.value());
  bar.rev_id = rows.full.id.value();
  Batch<Rebar> stored;
  stored.items.assign(static_cast<std::size_t>(bars), bar);
  GenericReply reply;
  service.add_rebar(std::move(stored), reply);
  bar.rev_id = rows.empty.id.value();
  rows.batch.items.assign(kBars, bar);
  return rows;
}

template <class Message, class T>
std::string translated(const T& record, RawForm form) {
  if (form == RawForm::json) return encoding::to_json(record);
  return message_of<Message>(record).SerializeAsString();
}

/// Writes `raw` of all rows in another form.
template <class Message, class T>
void translate(const Connection& connection, const std::string& table, RawForm form) {
  Prepared select(connection, "select id, raw from " + table);
  std::vector<std::pair<int, std::string>> rows;
  while (select.step()) {
    T record;
    encoding::decode_into(select.blob(1), select.size(1), record);
    rows.emplace_back(select.integer(0), translated<Message>(record, form));
  }
  select.reset();
  Prepared update(connection, "update " + table + " set raw = ? where id = ?");
  for (const auto& [id, raw] : rows) {
    if (form == RawForm::json) {
      update.bind(1, raw);
    } else {
      sqlite3_bind_blob(update.handle(), 1, raw.data(), static_cast<int>(raw.size()),
                        SQLITE_STATIC);
    }
    update.bind(2, id);
    update.run();
  }
}

void translate(const std::string& filename, RawForm form) {
  if (form == RawForm::compact_binary) return;
  const Connection connection(filename);
  connection.run("BEGIN");
  translate<proto::Sheet, Sheet>(connection, "sheet", form);
  translate<proto::Material, Material>(connection, "material", form);
  translate<proto::Rebar, Rebar>(connection, "rebar", form);
  connection.run("COMMIT");
}

}  // namespace

std::string project_file(int project) { return "p" + std::to_string(project) + ".db"; }

Rows make_projects(const fs::path& folder, RawForm form) {
  fs::create_directories(folder);
  const fs::path first = folder / project_file(0);
  Rows rows = fill(first.string(), kBars);
  translate(first.string(), form);
  for (int i = 1; i < kProjects; ++i) fs::copy_file(first, folder / project_file(i));
  const fs::path large = folder / project_file(kLargeProject);
  fill(large.string(), kLargeBars);
  translate(large.string(), form);
  return rows;
}

}  // namespace korvane::bench::wire
