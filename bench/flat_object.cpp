#include "bench/flat_object.h"

#include <flatbuffers/idl.h>
#include <flatbuffers/util.h>
#include <stdexcept>
#include <string>
#include <utility>

#include <nlohmann/json.hpp>

#include "contracts/encoding/json.h"

namespace korvane::bench {

namespace {

using Json = nlohmann::ordered_json;

/// Without what is not set, and maps as lists of their entries.
Json as_flatbuffers_write_it(const Json& value) {
  if (value.is_array()) {
    Json list = Json::array();
    for (const Json& element : value) list.push_back(as_flatbuffers_write_it(element));
    return list;
  }
  if (!value.is_object()) return value;
  Json object = Json::object();
  for (const auto& [name, member] : value.items()) {
    if (member.is_null()) continue;
    if (name != "properties") {
      object[name] = as_flatbuffers_write_it(member);
      continue;
    }
    Json& entries = object[name] = Json::array();
    for (const auto& [key, mapped] : member.items()) {
      entries.push_back({{"key", key}, {"value", as_flatbuffers_write_it(mapped)}});
    }
  }
  return object;
}

}  // namespace

flat::RebarT flat_of(const model::cad::Rebar& bar) {
  std::string schema;
  if (!flatbuffers::LoadFile(KORVANE_BENCH_FLAT_SCHEMA, false, &schema)) {
    throw std::logic_error("cannot read " KORVANE_BENCH_FLAT_SCHEMA);
  }
  flatbuffers::Parser parser;
  const std::string text = as_flatbuffers_write_it(Json::parse(encoding::to_json(bar))).dump();
  if (!parser.Parse(schema.c_str()) || !parser.ParseJson(text.c_str())) {
    throw std::logic_error(parser.error_);
  }
  flat::RebarT object;
  flatbuffers::GetRoot<flat::Rebar>(parser.builder_.GetBufferPointer())->UnPackTo(&object);
  return object;
}

}  // namespace korvane::bench
