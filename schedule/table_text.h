#pragma once

#include <ostream>
#include <string>

#include "schedule/table.h"

/// Tables as text for programs, all UTF-8: their rows without the totals and notes. Numbers are
/// written in the shortest way that reads back as the same double. Nothing is thrown for a stream
/// that fails: the caller looks at it when all is written.
namespace korvane::schedule {

/// CSV after RFC 4180: a header of the columns' names, lines that end in CR LF, an empty field for
/// no value and "" for an empty text. A number that is not finite is "nan", "inf" or "-inf".
void write_csv(const Table& table, std::ostream& output);

/// The lines of the rows alone, to go on with a table that is too large to be held whole.
void write_csv_rows(const Table& table, std::ostream& output);

/// An array with an object for each row, on a line of its own: the values by the columns' names,
/// null for no value and for a number that is not finite. What is not UTF-8 becomes U+FFFD. A line
/// end follows the array.
void write_json(const Table& table, std::ostream& output);

/// An object for each row, each on a line.
void write_ndjson(const Table& table, std::ostream& output);

/// One row as a JSON object, without a line end. `first_member` may be a member that comes before
/// the others, such as `"table":"bars"`.
void write_json_row(const Table& table, const std::vector<Cell>& row, std::ostream& output,
                    const std::string& first_member = "");

/// The cells of a row as a JSON array, values as write_json has them.
std::string json_cells(const std::vector<Cell>& row);

/// One value of a row as JSON.
std::string json_cell(const Cell& cell);

/// `text` as a JSON string, with its quotes.
std::string json_text(const std::string& text);

/// A number for people, without needless digits: "12", "0.888", "45.58". At most `decimals` digits
/// after the point, rounded.
std::string format_number(double value, int decimals = 3);

}  // namespace korvane::schedule
