#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "bench/plain_sqlite.h"
#include "bench/schedule.pb.h"

namespace korvane::bench {

/// A project file as a service beside the store would keep it: SQLite by its C API, each statement
/// parsed once and kept, one caller at a time. `raw` has messages of Protocol Buffers.
class PeerFile {
 public:
  explicit PeerFile(const std::string& filename)
      : connection_(filename),
        get_sheet_(connection_, "select uid, raw from sheet where id = ?"),
        list_materials_(connection_, "select id, uid, raw from material"),
        add_bar_(connection_, kAddBar),
        get_bars_(connection_, "select raw from rebar where rev_id = ?"),
        clear_(connection_, "delete from rebar where rev_id = ?") {}

  /// Returns whether there is one.
  bool get_sheet(std::int32_t id, proto::Sheet& sheet) {
    const std::lock_guard lock(mutex_);
    get_sheet_.bind(1, id);
    const bool is_there = get_sheet_.step();
    if (is_there) {
      parse(get_sheet_, 1, sheet);
      sheet.set_id(id);
      sheet.set_uid(get_sheet_.text(0));
    }
    get_sheet_.reset();
    return is_there;
  }

  /// Adds to `items`, a list of the message's.
  void list_materials(google::protobuf::RepeatedPtrField<proto::Material>& items) {
    const std::lock_guard lock(mutex_);
    while (list_materials_.step()) {
      proto::Material& material = *items.Add();
      parse(list_materials_, 2, material);
      material.set_id(list_materials_.integer(0));
      material.set_uid(list_materials_.text(1));
    }
    list_materials_.reset();
  }

  /// All of them in one transaction. An exception leaves the file unusable: the measuring ends.
  void add_bars(const google::protobuf::RepeatedPtrField<proto::Rebar>& bars) {
    const std::lock_guard lock(mutex_);
    connection_.run("BEGIN");
    std::string raw;
    for (const proto::Rebar& bar : bars) {
      bind(bar);
      bar.SerializeToString(&raw);
      sqlite3_bind_blob(add_bar_.handle(), kRaw, raw.data(), static_cast<int>(raw.size()),
                        SQLITE_STATIC);
      add_bar_.run();
    }
    connection_.run("COMMIT");
  }

  void get_bars(std::int32_t revision, google::protobuf::RepeatedPtrField<proto::Rebar>& items) {
    const std::lock_guard lock(mutex_);
    get_bars_.bind(1, revision);
    while (get_bars_.step()) {
      parse(get_bars_, 0, *items.Add());
    }
    get_bars_.reset();
  }

  void clear(std::int32_t revision) {
    const std::lock_guard lock(mutex_);
    clear_.bind(1, revision);
    clear_.run();
  }

 private:
  static constexpr const char* kAddBar =
      "insert into rebar (rev_id,comment,member,mark,submark,mark_suffix,mark_prefix,material_id,"
      "member_multiplier,bars_per_member,total_bars,total_length,bar_diameter,"
      "standard_bend_diameter,hook_bend_diameter,shape_code,A,B,C,D,E,F,R,A_rounded,B_rounded,"
      "C_rounded,D_rounded,E_rounded,F_rounded,R_rounded,bartype_name,bartype_mass_per_length,raw)"
      " values (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)";
  static constexpr int kRaw = 33;

  static void parse(const Prepared& row, int column, google::protobuf::MessageLite& message) {
    message.ParseFromArray(row.blob(column), static_cast<int>(row.size(column)));
  }

  void bind(int at, bool is_set, const auto& value) {
    if (is_set) {
      add_bar_.bind(at, value);
    } else {
      sqlite3_bind_null(add_bar_.handle(), at);
    }
  }

  void bind_letters(int first, const proto::RebarParams& letters) {
    bind(first, letters.has_a(), letters.a());
    bind(first + 1, letters.has_b(), letters.b());
    bind(first + 2, letters.has_c(), letters.c());
    bind(first + 3, letters.has_d(), letters.d());
    bind(first + 4, letters.has_e(), letters.e());
    bind(first + 5, letters.has_f(), letters.f());
    bind(first + 6, letters.has_r(), letters.r());
  }

  void bind(const proto::Rebar& bar) {
    add_bar_.bind(1, bar.rev_id());
    add_bar_.bind(2, bar.comment());
    add_bar_.bind(3, bar.member());
    add_bar_.bind(4, bar.mark());
    bind(5, bar.has_submark(), bar.submark());
    bind(6, bar.has_mark_suffix(), bar.mark_suffix());
    bind(7, bar.has_mark_prefix(), bar.mark_prefix());
    bind(8, bar.has_material_id(), bar.material_id());
    add_bar_.bind(9, bar.member_multiplier());
    add_bar_.bind(10, bar.bars_per_member());
    add_bar_.bind(11, bar.total_bars());
    add_bar_.bind(12, bar.total_length());
    add_bar_.bind(13, bar.bar_diameter());
    add_bar_.bind(14, bar.standard_bend_diameter());
    bind(15, bar.has_hook_bend_diameter(), bar.hook_bend_diameter());
    bind(16, bar.has_shape_code(), bar.shape_code());
    bind_letters(17, bar.parameters_exact());
    bind_letters(24, bar.parameters_rounded());
    bind(31, bar.has_bar_type_name(), bar.bar_type_name());
    add_bar_.bind(32, bar.bar_type_mass_per_length());
  }

  Connection connection_;
  std::mutex mutex_;
  Prepared get_sheet_;
  Prepared list_materials_;
  Prepared add_bar_;
  Prepared get_bars_;
  Prepared clear_;
};

}  // namespace korvane::bench
