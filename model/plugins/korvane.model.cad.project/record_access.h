#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <Poco/Data/Binding.h>
#include <Poco/Data/LOB.h>
#include <Poco/Data/Range.h>
#include <Poco/Data/Session.h>
#include <Poco/Data/Statement.h>

#include "contracts/common/batch.h"
#include "contracts/encoding/record_codec.h"
#include "model/plugins/korvane.model.cad.project/prepared_statement.h"
#include "model/plugins/korvane.model.cad.project/transaction_scope.h"
#include "platform/log/log.h"

/// The row contract of the tables material, fabric_type, sheet and revision, served once: the
/// columns `id` and `uid` are the truth for identity, `raw` for everything else. All of it runs on
/// the one session that is given, in the caller's thread, and keeps nothing between calls. A
/// session without a connection raises Poco::Data::NotConnectedException with the connection
/// string; a `raw` that is empty or damaged raises what the decoder raises. Table names are
/// literals, never a client's text.
namespace korvane::model::cad {

/// `record` as it goes into a column `raw`: the bytes are the blob's own.
template <class T>
Poco::Data::BLOB serialize_record(const T& record) {
  const bond::blob bytes = encoding::encode(record);
  return {reinterpret_cast<const unsigned char*>(bytes.content()), bytes.size()};
}

/// Decodes `raw` into `out` without resetting it first: what the bytes leave out stays as it was.
template <class T>
void deserialize_record_into(const Poco::Data::BLOB& raw, T& out) {
  encoding::decode_into(raw.rawContent(), static_cast<std::uint32_t>(raw.size()), out);
}

template <class T>
T deserialize_record(const Poco::Data::BLOB& raw) {
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

/// "insert into t (a,b) values (?,?)".
std::string make_insert_sql(const InsertSpec& spec);

/// Decodes the bytes of a column of the statement's row into `out`, as `deserialize_record_into`
/// does.
template <class T>
void decode_raw(const PreparedStatement& row, int column, T& out) {
  const std::string_view raw = row.bytes(column);
  encoding::decode_into(raw.data(), static_cast<std::uint32_t>(raw.size()), out);
}

/// One row at each execution.
inline Poco::Data::Range one_row() { return {0, 1, false}; }

/// Fetches one record by `ref.id` and, if that is not set or misses, by `ref.uid`. Returns whether
/// there was a row; `out` then holds its record with `id` and `uid` from the row, and is untouched
/// otherwise. Set values are looked up as they are: -1, 0 and the empty text mean nothing special.
/// Throws krv::rpc4::UnusableRow for a row whose id no reference holds, here and below.
template <class T, class Ref>
bool get_t_impl(Poco::Data::Session& session, const std::string& table, Ref ref, T& out) {
  if (ref.id) {
    PreparedStatement by_id(session, "select uid, raw from " + table + " where id = ?");
    by_id.bind(1, ref.id.value());
    if (by_id.step()) {
      decode_raw(by_id, 1, out);
      out.id = ref.id.value();
      out.uid = by_id.text(0);
      return true;
    }
  }
  if (ref.uid) {
    PreparedStatement by_uid(session, "select id, raw from " + table + " where uid = ?");
    by_uid.bind(1, ref.uid.value());
    if (by_uid.step()) {
      const std::int32_t id = by_uid.id(0, table);
      decode_raw(by_uid, 1, out);
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
    T record{};
    decode_raw(scan, 2, record);
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

/// Deletes the row of `ref.id` or, only if that is not set, of `ref.uid`. A row that is not there
/// is no error. Throws std::runtime_error "id or uid required" when neither is set, and the data
/// layer's constraint exception for a catalogue row in use; nothing is deleted then.
template <class Ref>
void delete_t_impl(Poco::Data::Session& session, const std::string& table, Ref ref) {
  using namespace Poco::Data::Keywords;
  TransactionScope scope(session);
  if (ref.id) {
    session << "delete from " + table + " where id = ?", Poco::Data::Keywords::bind(ref.id.value()),
        now;
  } else if (ref.uid) {
    session << "delete from " + table + " where uid = ?",
        Poco::Data::Keywords::bind(ref.uid.value()), now;
  } else {
    throw std::runtime_error("id or uid required");
  }
  scope.commit();
}

/// The sequence of every create: `raw` is made of the record as it came, before a uid is generated
/// for it if it has none; `insert(record, raw)` runs the insert; `reply` gets the row's uid and id.
template <class T, class Ref, class Insert>
void create_t_impl(Poco::Data::Session& session, const std::string& table, T& record, Ref& reply,
                   Insert insert) {
  TransactionScope scope(session);
  Poco::Data::BLOB raw = serialize_record(record);
  if (record.uid.empty()) record.uid = generate_uid();
  insert(record, raw);
  reply.uid.set_value() = record.uid;
  PreparedStatement newest(session, "select max(id) from " + table);
  newest.step();
  reply.id = newest.id(0, table);
  newest.run();
  scope.commit();
}

/// The sequence of every update: `update(record, raw)` runs the statement, whose last parameter is
/// the record's `id`. An `id` that matches no row changes nothing and is no error.
template <class T, class Update>
void update_t_impl(Poco::Data::Session& session, T& record, Update update) {
  TransactionScope scope(session);
  Poco::Data::BLOB raw = serialize_record(record);
  update(record, raw);
  scope.commit();
}

}  // namespace korvane::model::cad
