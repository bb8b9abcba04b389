// Storing and reading bars, beside plain SQLite doing the same in the same run.
//
//   AddRebar/Store        add_rebar of the whole batch through the service
//   AddRebar/Plain        the same rows by the C API: statements prepared once, one transaction,
//   the
//                         bytes of `raw` encoded beforehand; with treatments, the same look-ups
//   GetRebars/Store       get_rebars of the revision
//   GetRebars/Plain       a scan of `raw` by the C API
//   GetRebars/PlainDecode the same scan, each `raw` decoded into a record and kept
//
// The arguments are the number of bars, and whether each bar has an end treatment.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include "bench/bench.h"
#include "contracts/encoding/record_codec.h"
#include "model/plugins/korvane.model.cad.project/project.h"
#include "model/plugins/korvane.model.cad.project/schedule_columns.h"

namespace korvane::bench {
namespace {

using namespace model::cad;

void check(int result, sqlite3* connection) {
  if (result != SQLITE_OK && result != SQLITE_DONE && result != SQLITE_ROW) {
    throw std::runtime_error(sqlite3_errmsg(connection));
  }
}

class Connection {
 public:
  explicit Connection(const std::string& filename) {
    check(sqlite3_open(filename.c_str(), &handle_), handle_);
    run("PRAGMA foreign_keys = true");
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() { sqlite3_close(handle_); }

  void run(const std::string& sql) const {
    check(sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr), handle_);
  }
  sqlite3* handle() const { return handle_; }

 private:
  sqlite3* handle_ = nullptr;
};

class Prepared {
 public:
  Prepared(const Connection& connection, const std::string& sql) : connection_(connection) {
    check(sqlite3_prepare_v2(connection.handle(), sql.c_str(), -1, &handle_, nullptr),
          connection.handle());
  }
  Prepared(const Prepared&) = delete;
  Prepared& operator=(const Prepared&) = delete;
  ~Prepared() { sqlite3_finalize(handle_); }

  void bind(std::int32_t value) { sqlite3_bind_int(handle_, ++position_, value); }
  void bind(double value) { sqlite3_bind_double(handle_, ++position_, value); }
  void bind(const std::string& value) {
    sqlite3_bind_text(handle_, ++position_, value.data(), static_cast<int>(value.size()),
                      SQLITE_STATIC);
  }
  void bind(const bond::blob& value) {
    sqlite3_bind_blob(handle_, ++position_, value.data(), static_cast<int>(value.size()),
                      SQLITE_STATIC);
  }
  template <class T>
  void bind(const bond::nullable<T>& value) {
    if (value.hasvalue()) {
      bind(*value);
    } else {
      sqlite3_bind_null(handle_, ++position_);
    }
  }

  /// Steps once and, with `keep` false, starts over. Returns whether there is a row.
  bool step(bool keep = false) {
    const int result = sqlite3_step(handle_);
    check(result, connection_.handle());
    if (!keep) reset();
    return result == SQLITE_ROW;
  }
  void reset() {
    sqlite3_reset(handle_);
    position_ = 0;
  }
  sqlite3_stmt* handle() const { return handle_; }

 private:
  const Connection& connection_;
  sqlite3_stmt* handle_ = nullptr;
  int position_ = 0;
};

/// A project file with one revision and one material, and the bars to store in it.
class Bench {
 public:
  Bench(std::size_t bars, bool with_treatments)
      : filename_((std::filesystem::temp_directory_path() /
                   ("korvane-bench-" + std::to_string(getpid()) + ".db"))
                      .string()),
        project_(std::make_unique<Open>(filename_)) {
    SheetRef sheet;
    project().create_sheet({}, sheet);
    Revision revision;
    revision.sheet_id = sheet.id.value();
    project().create_revision(revision, revision_);
    MaterialRef material;
    project().create_material({}, material);
    Rebar bar = typical_bar();
    bar.rev_id = revision_.id.value();
    bar.material_id.set(material.id.value());
    if (!with_treatments) {
      bar.end_treatment_start.reset();
      bar.end_treatment_end.reset();
    }
    batch_.items.assign(bars, bar);
  }
  Bench(const Bench&) = delete;
  Bench& operator=(const Bench&) = delete;
  ~Bench() {
    project_.reset();
    std::filesystem::remove(filename_);
  }

  Project_Service_Impl& project() { return project_->service; }
  const std::string& filename() const { return filename_; }
  const Batch<Rebar>& batch() const { return batch_; }
  const RevisionRef& revision() const { return revision_; }

  void empty_tables() {
    const Connection connection(filename_);
    connection.run("delete from rebar");
    connection.run("delete from end_treatment");
  }

 private:
  struct Open {
    explicit Open(const std::string& filename) : service(0, filename) {}
    Project_Service_Impl service;
  };

  std::string filename_;
  std::unique_ptr<Open> project_;
  Batch<Rebar> batch_;
  RevisionRef revision_;
};

void add_by_store(benchmark::State& state) {
  Bench bench(static_cast<std::size_t>(state.range(0)), state.range(1) != 0);
  for (auto _ : state) {
    bench.empty_tables();
    Batch<Rebar> batch = bench.batch();
    GenericReply reply;
    state.SetIterationTime(seconds_of([&] { bench.project().add_rebar(std::move(batch), reply); }));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

/// The look-up of one end treatment as the store does it, prepared once.
class PlainTreatments {
 public:
  explicit PlainTreatments(const Connection& connection)
      : find_(connection,
              "SELECT id FROM end_treatment where type = ? AND type_description = ? AND "
              "manufacturer = ? AND model = ? AND diameter = ? AND comment = ?"),
        insert_(connection,
                "insert into end_treatment (type,type_description,manufacturer,model,diameter,"
                "comment) values (?,?,?,?,?,?)"),
        max_(connection, "SELECT MAX(id) FROM end_treatment") {}

  bond::nullable<std::int32_t> id_of(const bond::nullable<EndTreatment>& treatment) {
    bond::nullable<std::int32_t> id;
    if (treatment.empty()) return id;
    bind(find_, *treatment);
    if (find_.step(true)) {
      id.set(sqlite3_column_int(find_.handle(), 0));
    }
    find_.reset();
    if (id.empty()) {
      bind(insert_, *treatment);
      insert_.step();
      max_.step(true);
      id.set(sqlite3_column_int(max_.handle(), 0));
      max_.reset();
    }
    return id;
  }

 private:
  static void bind(Prepared& statement, const EndTreatment& treatment) {
    statement.bind(treatment.type);
    statement.bind(treatment.type_description);
    statement.bind(treatment.manufacturer);
    statement.bind(treatment.model);
    statement.bind(treatment.diameter);
    statement.bind(treatment.comment);
  }

  Prepared find_;
  Prepared insert_;
  Prepared max_;
};

void bind_letters(Prepared& insert, const RebarParams& params) {
  for (const auto* letter :
       {&params.a, &params.b, &params.c, &params.d, &params.e, &params.f, &params.r}) {
    insert.bind(*letter);
  }
}

void add_by_plain_sqlite(benchmark::State& state) {
  Bench bench(static_cast<std::size_t>(state.range(0)), state.range(1) != 0);
  const RebarRowValues no_values;
  const std::string sql = make_insert_sql(rebar_columns(no_values).spec());
  std::vector<bond::blob> raw;
  for (const Rebar& bar : bench.batch().items) raw.push_back(korvane::encoding::encode(bar));
  for (auto _ : state) {
    bench.empty_tables();
    const Connection connection(bench.filename());
    state.SetIterationTime(seconds_of([&] {
      connection.run("BEGIN");
      Prepared insert(connection, sql);
      PlainTreatments treatments(connection);
      std::size_t i = 0;
      for (const Rebar& bar : bench.batch().items) {
        const auto start = treatments.id_of(bar.end_treatment_start);
        const auto end = treatments.id_of(bar.end_treatment_end);
        insert.bind(bar.rev_id);
        insert.bind(bar.comment);
        insert.bind(bar.member);
        insert.bind(bar.mark);
        insert.bind(bar.submark);
        insert.bind(bar.mark_suffix);
        insert.bind(bar.mark_prefix);
        insert.bind(bar.material_id);
        insert.bind(bar.member_multiplier);
        insert.bind(bar.bars_per_member);
        insert.bind(bar.total_bars);
        insert.bind(bar.total_length);
        insert.bind(bar.bar_diameter);
        insert.bind(bar.standard_bend_diameter);
        insert.bind(bar.hook_bend_diameter);
        insert.bind(start);
        insert.bind(end);
        insert.bind(bar.shape_code);
        bind_letters(insert, bar.parameters_exact);
        bind_letters(insert, bar.parameters_rounded);
        insert.bind(bar.bar_type_name);
        insert.bind(bar.bar_type_mass_per_length);
        insert.bind(raw[i++]);
        insert.step();
      }
      connection.run("COMMIT");
    }));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void fill(Bench& bench) {
  GenericReply reply;
  bench.project().add_rebar(bench.batch(), reply);
}

void read_by_store(benchmark::State& state) {
  Bench bench(static_cast<std::size_t>(state.range(0)), state.range(1) != 0);
  fill(bench);
  for (auto _ : state) {
    Batch<Rebar> reply;
    state.SetIterationTime(
        seconds_of([&] { bench.project().get_rebars(bench.revision(), reply); }));
    benchmark::DoNotOptimize(reply.items.data());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class TakeRaw>
void scan_raw(const Connection& connection, std::int32_t rev_id, TakeRaw take_raw) {
  Prepared scan(connection, "select raw from rebar where rev_id = ?");
  scan.bind(rev_id);
  while (scan.step(true)) {
    take_raw(sqlite3_column_blob(scan.handle(), 0),
             static_cast<std::uint32_t>(sqlite3_column_bytes(scan.handle(), 0)));
  }
}

void read_by_plain_sqlite(benchmark::State& state) {
  Bench bench(static_cast<std::size_t>(state.range(0)), state.range(1) != 0);
  fill(bench);
  const Connection connection(bench.filename());
  for (auto _ : state) {
    std::uint64_t total = 0;
    state.SetIterationTime(seconds_of([&] {
      scan_raw(connection, bench.revision().id.value(),
               [&](const void* bytes, std::uint32_t length) {
                 benchmark::DoNotOptimize(bytes);
                 total += length;
               });
    }));
    benchmark::DoNotOptimize(total);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void read_by_plain_sqlite_and_decode(benchmark::State& state) {
  Bench bench(static_cast<std::size_t>(state.range(0)), state.range(1) != 0);
  fill(bench);
  const Connection connection(bench.filename());
  for (auto _ : state) {
    std::vector<Rebar> bars;
    state.SetIterationTime(seconds_of([&] {
      scan_raw(connection, bench.revision().id.value(),
               [&](const void* bytes, std::uint32_t length) {
                 bars.push_back(korvane::encoding::decode<Rebar>(bytes, length));
               });
    }));
    benchmark::DoNotOptimize(bars.data());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void sizes(benchmark::internal::Benchmark* scenario) {
  scenario->UseManualTime()->Unit(benchmark::kMillisecond)->ArgNames({"bars", "treatments"});
  scenario->ArgsProduct({{10'000, 100'000}, {0, 1}});
}

BENCHMARK(add_by_store)->Name("AddRebar/Store")->Apply(sizes);
BENCHMARK(add_by_plain_sqlite)->Name("AddRebar/Plain")->Apply(sizes);
BENCHMARK(read_by_store)->Name("GetRebars/Store")->Apply(sizes);
BENCHMARK(read_by_plain_sqlite)->Name("GetRebars/Plain")->Apply(sizes);
BENCHMARK(read_by_plain_sqlite_and_decode)->Name("GetRebars/PlainDecode")->Apply(sizes);

[[maybe_unused]] const bool is_compared = compare({{"AddRebar/Store", "AddRebar/Plain"},
                                                   {"GetRebars/Store", "GetRebars/Plain"},
                                                   {"GetRebars/Store", "GetRebars/PlainDecode"}});

}  // namespace
}  // namespace korvane::bench
