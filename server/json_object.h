#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "schedule/table.h"
#include "schedule/table_text.h"

namespace korvane::server {

/// The text of a JSON object, member by member, in the order in which they are added. Each is
/// written where it will be read: nothing is held besides the text.
class JsonObject {
 public:
  JsonObject& json(std::string_view name, std::string_view value) {
    if (text_.size() > 1) text_ += ',';
    text_ += '"';
    text_ += name;
    text_ += "\":";
    text_ += value;
    return *this;
  }
  JsonObject& text(std::string_view name, const std::string& value) {
    return json(name, schedule::json_text(value));
  }
  JsonObject& number(std::string_view name, std::int64_t value) {
    return json(name, std::to_string(value));
  }
  JsonObject& cell(std::string_view name, const schedule::Cell& value) {
    return json(name, schedule::json_cell(value));
  }

  /// The whole. Nothing can be added then.
  std::string take() { return std::move(text_ += '}'); }

 private:
  std::string text_ = "{";
};

/// The text of a JSON array, element by element.
class JsonArray {
 public:
  JsonArray& add(std::string_view element) {
    if (text_.size() > 1) text_ += ',';
    text_ += element;
    return *this;
  }
  std::string take() { return std::move(text_ += ']'); }

 private:
  std::string text_ = "[";
};

/// What a client has to know of columns: name, title, kind, unit and decimals of each.
inline std::string json_of(const std::vector<schedule::Column>& columns) {
  JsonArray array;
  for (const schedule::Column& column : columns) {
    array.add(JsonObject()
                  .text("name", column.name)
                  .text("title", column.title)
                  .text("kind", column.kind == schedule::Column::Kind::number ? "number" : "text")
                  .text("unit", column.unit)
                  .number("decimals", column.decimals)
                  .take());
  }
  return array.take();
}

}  // namespace korvane::server
