#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <Poco/Data/LOB.h>
#include <Poco/Data/Session.h>

#include "contracts/common/batch.h"
#include "contracts/encoding/record_codec.h"
#include "model/plugins/korvane.model.cad.project/blamed_item.h"
#include "model/plugins/korvane.model.cad.project/prepared_statement.h"
#include "model/plugins/korvane.model.cad.project/transaction_scope.h"
#include "model/tables/tables.h"
#include "platform/log/log.h"
#include "platform/rpc4/failure.h"

/// The row contract of the tables material, fabric_type, sheet and revision, written once: the
/// columns `id` and `uid` are the truth for identity, `raw` for everything else. All of it runs on
/// the session that is given, in the caller's thread, and keeps nothing between calls. A session
/// without a connection raises Poco::Data::NotConnectedException with the connection string; a
/// `raw` that is empty or damaged raises what the decoder raises. Table names are literals, never a
/// client's text.
namespace korvane::model::cad {

/// `record` as it goes into a column `raw`: the bytes are the blob's own.
template <class T>
Poco::Data::BLOB serialize_record(const T& record) {
  const bond::blob bytes = encoding::encode(record);
  return {reinterpret_cast<const unsigned char*>(bytes.content()), bytes.size()};
}

inline tables::Bytes bytes_of(const Poco::Data::BLOB& blob) {
  return {blob.rawContent(), blob.size()};
}

/// Decodes `raw` into `out` without resetting it first: what the bytes leave out stays as it was.
template <class T>
void deserialize_record_into(std::string_view raw, T& out) {
  encoding::decode_into(raw.data(), static_cast<std::uint32_t>(raw.size()), out);
}
template <class T>
void deserialize_record_into(const Poco::Data::BLOB& raw, T& out) {
  encoding::decode_into(raw.rawContent(), static_cast<std::uint32_t>(raw.size()), out);
}

/// The same into a default-made record. `Raw` is either of the two.
template <class T, class Raw>
T deserialize_record(const Raw& raw) {
  T record{};
  deserialize_record_into(raw, record);
  return record;
}

/// A new text uid: 36 characters, lower case, of a random version 4 UUID. Throws
/// boost::uuids::entropy_error when the random source fails.
std::string generate_uid();

/// What an insert names: the table, and the columns in binding order.
struct InsertSpec {
  std::string table;
  std::vector<std::string> columns;
};

/// The columns of `table` that an insert fills, in its order.
template <class T>
InsertSpec insert_spec(const tables::Table<T>& table) {
  InsertSpec spec{table.name(), {}};
  table.for_each_inserted([&](const auto& column) { spec.columns.push_back(column.name); });
  return spec;
}

/// "a = ? AND b = ?" of the columns a and b, with the suffix " = ?" and the separator " AND ".
std::string join(const std::vector<std::string>& columns, std::string_view suffix,
                 std::string_view separator);

/// "insert into t (a,b) values (?,?)".
std::string make_insert_sql(const InsertSpec& spec, std::string_view separator = ",");

/// "update t set a=?, b=? where id=?".
std::string make_update_sql(const InsertSpec& spec);

/// Binds the values of the row of `record` in the order of `insert_spec`, and returns how many they
/// are. Their owners must stay as they are until the statement has run.
template <class T>
std::size_t bind_row(PreparedStatement& statement, const tables::Table<T>& table, const T& record,
                     const tables::Given<T>& given) {
  std::size_t position = 0;
  table.for_each_inserted([&](const tables::Column<T>& column) {
    statement.bind(++position, column.value(record, given));
  });
  return position;
}

/// Inserts the row of one record. Its statement has a blank after each comma, where a batch's has
/// none.
template <class T>
void insert_row(Poco::Data::Session& session, const T& record, const tables::Given<T>& given) {
  const tables::Table<T> table = tables::table_of<T>();
  PreparedStatement insert(session, make_insert_sql(insert_spec(table), ", "));
  bind_row(insert, table, record, given);
  run_blaming(session, insert, table, record, given);
}

/// Replaces every column of the row `record.id`, `uid` included.
template <class T>
void update_row(Poco::Data::Session& session, const T& record, const tables::Given<T>& given) {
  const tables::Table<T> table = tables::table_of<T>();
  PreparedStatement update(session, make_update_sql(insert_spec(table)));
  const std::size_t bound = bind_row(update, table, record, given);
  update.bind(bound + 1, record.id);
  run_blaming(session, update, table, record, given);
}

/// Replaces `raw` of the row `id` of `table`.
void update_raw(Poco::Data::Session& session, const std::string& table, tables::Bytes raw,
                std::int32_t id);

/// Fetches one record by `ref.id` and, if that is not set or misses, by `ref.uid`. Returns whether
/// there was a row; `out` then holds its record with `id` and `uid` from the row, and is untouched
/// otherwise. Set values are looked up as they are: -1, 0 and the empty text mean nothing special.
/// Throws krv::rpc4::UnusableRow for a row whose id no reference holds, here and below.
template <class T, class Ref>
bool get_t_impl(Poco::Data::Session& session, const std::string& table, Ref ref, T& out) {
  if (ref.id) {
    PreparedStatement by_id(session, "select uid, raw from " + table + " where id = ?",
                            ref.id.value());
    if (by_id.step()) {
      deserialize_record_into(by_id.bytes(1), out);
      out.id = ref.id.value();
      out.uid = by_id.text(0);
      return true;
    }
  }
  if (ref.uid) {
    PreparedStatement by_uid(session, "select id, raw from " + table + " where uid = ?",
                             ref.uid.value());
    if (by_uid.step()) {
      const std::int32_t id = by_uid.id(0, table);
      deserialize_record_into(by_uid.bytes(1), out);
      out.id = id;
      out.uid = ref.uid.value();
      return true;
    }
  }
  return false;
}

/// Appends the records that `scan` gives of `table` as id, uid and raw to `items`, in scan order.
template <class T>
void append_records(PreparedStatement& scan, std::string_view table, std::vector<T>& items) {
  while (scan.step()) {
    const std::int32_t id = scan.id(0, table);
    T record = deserialize_record<T>(scan.bytes(2));
    record.id = id;
    record.uid = scan.text(1);
    items.push_back(std::move(record));
  }
}

/// Appends every record of `table` to `out.items`, in the order in which the engine scans them.
/// Logs "list_t_impl: tbl_id=" and the table at severity 0.
template <class T>
void list_t_impl(Poco::Data::Session& session, const std::string& table, Batch<T>& out) {
  BOOST_LOG_SEV(krv::log::get_global_log(), krv::log::trace)
      << L"list_t_impl: tbl_id=" << krv::log::widen(table);
  PreparedStatement scan(session, "select id, uid, raw from " + table);
  append_records(scan, table, out.items);
}

/// Deletes the row of `ref.id` or, only if that is not set, of `ref.uid`. A missing row is no
/// error. Throws std::runtime_error "id or uid required" when neither is set, and the data
/// layer's constraint exception for a catalogue row in use; nothing is deleted then.
template <class Ref>
void delete_t_impl(Poco::Data::Session& session, const std::string& table, Ref ref) {
  TransactionScope scope(session);
  if (ref.id) {
    run(session, "delete from " + table + " where id = ?", ref.id.value());
  } else if (ref.uid) {
    run(session, "delete from " + table + " where uid = ?", ref.uid.value());
  } else {
    throw krv::rpc4::BadRequest("id or uid required");
  }
  scope.commit();
}

/// The sequence of every create: `raw` is made of the record as it came, before a uid is generated
/// for it if it has none; then the insert; `reply` gets the row's uid and id before the commit.
template <class T, class Ref>
void create_t_impl(Poco::Data::Session& session, const std::string& table, T& record, Ref& reply) {
  TransactionScope scope(session);
  const Poco::Data::BLOB raw = serialize_record(record);
  if (record.uid.empty()) record.uid = generate_uid();
  insert_row(session, record, {bytes_of(raw)});
  reply.uid.set_value() = record.uid;
  PreparedStatement newest(session, "select max(id) from " + table);
  newest.step();
  reply.id = newest.id(0, table);
  newest.run();
  scope.commit();
}

/// The sequence of every update: `update(raw)` runs the statement, whose last parameter is the
/// record's `id`. An `id` that matches no row changes nothing and is no error.
template <class T, class Update>
void update_t_impl(Poco::Data::Session& session, const T& record, Update update) {
  TransactionScope scope(session);
  const Poco::Data::BLOB raw = serialize_record(record);
  update(bytes_of(raw));
  scope.commit();
}

}  // namespace korvane::model::cad
