// Reading, beside the C API of SQLite doing the same in the same run.
//
//   GetRebars/Store        get_rebars of a revision of 10,000 bars
//   GetRebars/Plain        a scan of `raw` by the same condition, each decoded where it is kept
//   QueryTable/Store       query_table: 100,000 rows of 10 columns
//   QueryTable/Plain       the same statement into the same reply
//   ListMaterials/Store    list_materials of 10,000
//   ListMaterials/Plain    the same columns scanned, decoded and kept
//   GetMaterial/Store      get_material by id
//   GetMaterial/Plain      one statement parsed once; the record decoded, its id and uid taken
//
// The argument of the first two is the number of bars in the file.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include "bench/bench.h"
#include "bench/report.h"
#include "bench/schedule_file.h"
#include "bench/stored_project.h"
#include "contracts/encoding/record_codec.h"

namespace korvane::bench {
namespace {

constexpr std::int64_t kMaterials = 10'000;
constexpr int kMaterialAsked = kMaterials / 2;

void get_rebars_by_store(benchmark::State& state) {
  ScheduleFile& file = ScheduleFile::of(state.range(0));
  for (auto _ : state) {
    Batch<Rebar> reply;
    state.SetIterationTime(
        seconds_of([&] { file.project().service().get_rebars(file.large_revision(), reply); }));
    benchmark::DoNotOptimize(reply.items.data());
  }
}

void get_rebars_by_plain_sqlite(benchmark::State& state) {
  ScheduleFile& file = ScheduleFile::of(state.range(0));
  const Connection connection(file.project().filename());
  for (auto _ : state) {
    std::vector<Rebar> bars;
    state.SetIterationTime(seconds_of([&] {
      Prepared scan(connection, "select raw from rebar where rev_id = ?");
      scan.bind(1, file.large_revision().id.value());
      while (scan.step()) {
        encoding::decode_into(scan.blob(0), scan.size(0), bars.emplace_back());
      }
    }));
    benchmark::DoNotOptimize(bars.data());
  }
}

const std::string kQuery =
    "select id, rev_id, mark, member, comment, total_bars, bar_diameter, total_length, shape_code, "
    "bartype_name from rebar limit 100000";

void query_table_by_store(benchmark::State& state) {
  ScheduleFile& file = ScheduleFile::of(state.range(0));
  model::table::GET_TABLE request;
  request.kind = "sql:raw";
  request.params["query"].value_string.set(kQuery);
  for (auto _ : state) {
    model::table::TABLE reply;
    state.SetIterationTime(
        seconds_of([&] { file.project().service().query_table(request, reply); }));
    benchmark::DoNotOptimize(reply.rows.data());
  }
}

Variant cell_of(const Prepared& select, int column) {
  Variant cell;
  switch (sqlite3_column_type(select.handle(), column)) {
    case SQLITE_INTEGER:
      cell.value_int32.set(select.integer(column));
      break;
    case SQLITE_FLOAT:
      cell.value_double.set(sqlite3_column_double(select.handle(), column));
      break;
    case SQLITE_NULL:
      break;
    default:
      cell.value_string.set(select.text(column));
  }
  return cell;
}

VariantKind kind_of(const Prepared& select, int column) {
  const char* const declared = sqlite3_column_decltype(select.handle(), column);
  const std::string type = declared == nullptr ? "" : declared;
  if (type.starts_with("INTEGER")) return VariantKind::kInt32;
  return type.starts_with("REAL") ? VariantKind::kDouble : VariantKind::kString;
}

void query_table_by_plain_sqlite(benchmark::State& state) {
  ScheduleFile& file = ScheduleFile::of(state.range(0));
  const Connection connection(file.project().filename());
  for (auto _ : state) {
    model::table::TABLE reply;
    state.SetIterationTime(seconds_of([&] {
      Prepared select(connection, kQuery);
      const int columns = sqlite3_column_count(select.handle());
      for (int i = 0; i < columns; ++i) {
        reply.columns.push_back({sqlite3_column_name(select.handle(), i),
                                 static_cast<std::int32_t>(kind_of(select, i))});
      }
      while (select.step()) {
        std::vector<Variant>& cells = reply.rows.emplace_back();
        cells.reserve(static_cast<std::size_t>(columns));
        for (int i = 0; i < columns; ++i) cells.push_back(cell_of(select, i));
      }
    }));
    benchmark::DoNotOptimize(reply.rows.data());
  }
}

/// One project with 10,000 typical materials, kept until the program ends.
StoredProject& materials() {
  scratch_folder();
  static StoredProject project;
  [[maybe_unused]] static const bool is_filled = [] {
    Material material = typical<Material>();
    // The project has one material already.
    for (std::int64_t i = 1; i < kMaterials; ++i) {
      material.uid = "uid " + std::to_string(i);
      MaterialRef ref;
      project.service().create_material(material, ref);
    }
    return true;
  }();
  return project;
}

void list_materials_by_store(benchmark::State& state) {
  StoredProject& project = materials();
  for (auto _ : state) {
    Batch<Material> reply;
    state.SetIterationTime(seconds_of([&] { project.service().list_materials({}, reply); }));
    benchmark::DoNotOptimize(reply.items.data());
  }
}

void list_materials_by_plain_sqlite(benchmark::State& state) {
  const Connection connection(materials().filename());
  for (auto _ : state) {
    std::vector<Material> items;
    state.SetIterationTime(seconds_of([&] {
      Prepared select(connection, "select id, uid, raw from material");
      while (select.step()) {
        Material& material = items.emplace_back();
        encoding::decode_into(select.blob(2), select.size(2), material);
        material.id = select.integer(0);
        material.uid = select.text(1);
      }
    }));
    benchmark::DoNotOptimize(items.data());
  }
}

void get_material_by_store(benchmark::State& state) {
  StoredProject& project = materials();
  MaterialRef ref;
  ref.id = kMaterialAsked;
  for (auto _ : state) {
    Material material;
    project.service().get_material(ref, material);
    benchmark::DoNotOptimize(&material);
  }
}

void get_material_by_plain_sqlite(benchmark::State& state) {
  const Connection connection(materials().filename());
  Prepared select(connection, "select uid, raw from material where id = ?");
  for (auto _ : state) {
    Material material;
    select.bind(1, kMaterialAsked);
    if (!select.step()) state.SkipWithError("no such material");
    encoding::decode_into(select.blob(1), select.size(1), material);
    material.id = kMaterialAsked;
    material.uid = select.text(0);
    select.reset();
    benchmark::DoNotOptimize(&material);
  }
}

void files(benchmark::internal::Benchmark* scenario) {
  scenario->UseManualTime()->Unit(benchmark::kMillisecond)->ArgName("file")->Arg(10'000);
  scenario->Arg(1'000'000);
}

void rows(benchmark::internal::Benchmark* scenario) {
  scenario->UseManualTime()->Unit(benchmark::kMillisecond)->ArgName("rows")->Arg(100'000);
}

void listed(benchmark::internal::Benchmark* scenario) {
  scenario->UseManualTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(get_rebars_by_store)->Name("GetRebars/Store")->Apply(files);
BENCHMARK(get_rebars_by_plain_sqlite)->Name("GetRebars/Plain")->Apply(files);
BENCHMARK(query_table_by_store)->Name("QueryTable/Store")->Apply(rows);
BENCHMARK(query_table_by_plain_sqlite)->Name("QueryTable/Plain")->Apply(rows);
BENCHMARK(list_materials_by_store)->Name("ListMaterials/Store")->Apply(listed);
BENCHMARK(list_materials_by_plain_sqlite)->Name("ListMaterials/Plain")->Apply(listed);
BENCHMARK(get_material_by_store)->Name("GetMaterial/Store");
BENCHMARK(get_material_by_plain_sqlite)->Name("GetMaterial/Plain");

[[maybe_unused]] const bool is_compared =
    compare({{"get_rebars of 10,000", "GetRebars/Store", "GetRebars/Plain", 1.15},
             {"query_table of 10 columns", "QueryTable/Store", "QueryTable/Plain", 1.6},
             {"list_materials of 10,000", "ListMaterials/Store", "ListMaterials/Plain", 1.5},
             {"get_material by id", "GetMaterial/Store", "GetMaterial/Plain", 3.0}});

}  // namespace
}  // namespace korvane::bench
