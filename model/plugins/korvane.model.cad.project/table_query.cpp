#include "model/plugins/korvane.model.cad.project/table_query.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <Poco/Data/LOB.h>
#include <Poco/Data/MetaColumn.h>
#include <Poco/Data/RecordSet.h>
#include <Poco/Data/Statement.h>
#include <Poco/Dynamic/Var.h>

#include "model/plugins/korvane.model.cad.project/direct_query.h"
#include "model/plugins/korvane.model.cad.project/transaction_scope.h"
#include "platform/log/log.h"
#include "platform/rpc4/failure.h"

namespace korvane::model::cad {

namespace {

using krv::log::get_global_log;
using krv::log::widen;

[[noreturn]] void refuse(const char* text) {
  BOOST_LOG_SEV(get_global_log(), krv::log::refused) << widen(text);
  throw krv::rpc4::BadRequest(text);
}

/// The query's SQL. Other parameters are ignored; a "query" that is not a text counts as none.
const std::string& query_text(const table::GET_TABLE& request) {
  const auto entry = request.params.find("query");
  if (entry == request.params.end() || entry->second.value_string.empty() ||
      entry->second.value_string->empty()) {
    refuse("No query or empty query");
  }
  return *entry->second.value_string;
}

VariantKind column_kind(Poco::Data::MetaColumn::ColumnDataType type) {
  using Column = Poco::Data::MetaColumn;
  switch (type) {
    // This connector reports a declared INTEGER as 64 bits, older ones as 32. A client sees 32 bits
    // either way: the kind says so, and a larger value fails in the conversion of its cell.
    case Column::FDT_INT64:
    case Column::FDT_INT32:
      return VariantKind::kInt32;
    case Column::FDT_DOUBLE:
      return VariantKind::kDouble;
    case Column::FDT_STRING:
      return VariantKind::kString;
    case Column::FDT_BLOB:
    case Column::FDT_CLOB:
      return VariantKind::kBlob;
    default:
      refuse("unsupported return type");
  }
}

void log_unhandled(const Poco::Dynamic::Var& value) {
  BOOST_LOG_SEV(get_global_log(), krv::log::refused)
      << L"unhandled cell type: " << widen(value.type().name());
}

Variant cell_of(const Poco::Dynamic::Var& value) {
  Variant cell;
  if (value.isInteger()) {
    cell.value_int32.set(value.convert<Poco::Int32>());
  } else if (value.isNumeric()) {
    cell.value_double.set(value.convert<double>());
  } else if (value.isString()) {
    cell.value_string.set(value.convert<std::string>());
  } else if (value.type() == typeid(Poco::Data::BLOB)) {
    cell.value_string.set(value.toString());
  } else {
    log_unhandled(value);
  }
  return cell;
}

void log_column_count(std::size_t columns) {
  // It is the number of columns, although the line says records.
  BOOST_LOG_SEV(get_global_log(), krv::log::trace)
      << L"query_table_impl returned " << columns << L" records";
}

void append_column(std::string name, Poco::Data::MetaColumn::ColumnDataType type,
                   table::TABLE& reply) {
  table::TableColumn column;
  column.name = std::move(name);
  column.kind = static_cast<std::int32_t>(column_kind(type));
  reply.columns.push_back(std::move(column));
}

/// For any statement on any session.
void run_by_data_layer(Poco::Data::Session& session, const std::string& query,
                       table::TABLE& reply) {
  Poco::Data::Statement statement = (session << query, Poco::Data::Keywords::now);
  const Poco::Data::RecordSet records(statement);
  log_column_count(records.columnCount());
  for (std::size_t i = 0; i < records.columnCount(); ++i) {
    append_column(records.columnName(i), records.columnType(i), reply);
  }
  // A statement without columns does not know how many rows it has.
  if (records.columnCount() == 0) return;
  // By cell: a record set keeps the rows it makes in memory, beside the cells.
  for (std::size_t row = 0; row < records.rowCount(); ++row) {
    std::vector<Variant> cells;
    cells.reserve(records.columnCount());
    for (std::size_t i = 0; i < records.columnCount(); ++i) {
      cells.push_back(cell_of(records.value(i, row)));
    }
    reply.rows.push_back(std::move(cells));
  }
}

void log_nulls(const std::vector<Variant>& cells) {
  for (const Variant& cell : cells) {
    if (cell == Variant{}) log_unhandled(Poco::Dynamic::Var());
  }
}

void run_directly(DirectQuery query, table::TABLE& reply) {
  query.run();
  log_column_count(query.column_count());
  for (std::size_t i = 0; i < query.column_count(); ++i) {
    append_column(query.column_name(i), query.column_type(i), reply);
  }
  if (query.null_count() != 0) std::ranges::for_each(query.rows(), log_nulls);
  if (reply.rows.empty()) {
    reply.rows = std::move(query.rows());
  } else {
    std::ranges::move(query.rows(), std::back_inserter(reply.rows));
  }
  if (!query.too_large()) return;
  log_nulls(query.too_large()->cells_before);
  cell_of(Poco::Dynamic::Var(Poco::Int64{query.too_large()->value}));
}

}  // namespace

void query_table_impl(Poco::Data::Session& session, const table::GET_TABLE& request,
                      table::TABLE& reply) {
  if (request.kind != "sql:raw") {
    BOOST_LOG_SEV(get_global_log(), krv::log::refused)
        << L"unhandled query kind: " << widen(request.kind);
    return;
  }
  const std::string& query = query_text(request);
  BOOST_LOG_SEV(get_global_log(), krv::log::trace)
      << L"query_table_impl: statement=" << widen(query);
  UnitTransaction::require_whole(session);
  std::optional<DirectQuery> direct = DirectQuery::of(session, query);
  direct ? run_directly(*std::move(direct), reply) : run_by_data_layer(session, query, reply);
}

}  // namespace korvane::model::cad
