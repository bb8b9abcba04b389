#pragma once

#include "bond/input_buffer.h"
#include "bond/metadata.h"
#include "bond/output_buffer.h"
#include "bond/serialize.h"
#include "contracts/encoding/idl_writer.h"
#include "contracts/encoding/json.h"
#include "contracts/encoding/json_direct.h"
#include "contracts/encoding/json_reader.h"
#include "contracts/encoding/json_schema.h"
#include "contracts/encoding/json_writer.h"
#include "contracts/encoding/record_codec.h"

/// What a folder's `contracts.cpp` includes to make all that is derived from the descriptions of its
/// contracts: Compact Binary, metadata, JSON, JSON Schemas and declarations.
namespace korvane::encoding {

template <class T>
bond::blob encode(const T& record) {
  bond::OutputBuffer output;
  bond::CompactBinaryWriter<bond::OutputBuffer> writer(output);
  bond::Serialize(record, writer);
  return std::move(output).GetBuffer();
}

template <class T>
std::uint32_t decode_into(const void* bytes, std::uint32_t length, T& record) {
  bond::CompactBinaryReader<bond::InputBuffer> input(bond::InputBuffer(bytes, length));
  bond::DeserializeFrom(input, record);
  return input.GetBuffer().position();
}

template <class T>
T from_json(std::string_view text) {
  if (T record{}; detail::JsonDirectReader(text).read_whole(record)) return record;
  // Something is wrong with the text, or it is an unusual one.
  T record{};
  const detail::JsonDocument document = detail::parse_json(text);
  const detail::Place whole;
  detail::JsonReader(document, whole).read(record);
  return record;
}

template <class T>
std::string to_json(const T& record) {
  detail::JsonWriter writer;
  writer.write(record, detail::Place());
  return writer.take();
}

template <class T>
std::string to_shown_json(const T& record) {
  detail::JsonWriter writer = detail::JsonWriter::that_replaces();
  writer.write(record, detail::Place());
  return writer.take();
}

template <class T>
void write_json(const T& record, const JsonSink& sink) {
  detail::JsonWriter writer(sink);
  writer.write(record, detail::Place());
  writer.finish();
}

template <class T>
std::string add_json_schema(JsonSchemas& schemas, SchemaOf of) {
  return detail::JsonSchemaMaker(schemas, of).add_component<T>();
}

template <class T>
IdlDeclaration idl_declaration() {
  return detail::IdlWriter::declaration<T>();
}

template <template <class> class Generic>
IdlDeclaration idl_generic_declaration() {
  IdlDeclaration declaration = detail::IdlWriter::declaration<Generic<detail::TypeParameter>>();
  std::erase(declaration.uses, bond::Describe<detail::TypeParameter>::qualified_name);
  return declaration;
}

}  // namespace korvane::encoding

/// Makes one contract, and checks its description. What is generic is made for each of its items by
/// KORVANE_MAKE_RECORD and declared once by KORVANE_MAKE_GENERIC.
#define KORVANE_MAKE_CONTRACT(...) \
  KORVANE_MAKE_RECORD(__VA_ARGS__) \
  template korvane::encoding::IdlDeclaration korvane::encoding::idl_declaration<__VA_ARGS__>();

#define KORVANE_MAKE_RECORD(...)                                                                   \
  static_assert(bond::describes_every_member<__VA_ARGS__>(), "a field is not described");          \
  static_assert(bond::accounts_for_every_ordinal<__VA_ARGS__>(),                                   \
                "the ordinals do not rise, or one of them is neither a field's nor in a Gap");     \
  template struct bond::Schema<__VA_ARGS__>;                                                       \
  template bond::blob korvane::encoding::encode(const __VA_ARGS__&);                               \
  template std::uint32_t korvane::encoding::decode_into(const void*, std::uint32_t, __VA_ARGS__&); \
  template __VA_ARGS__ korvane::encoding::from_json<__VA_ARGS__>(std::string_view);                \
  template std::string korvane::encoding::to_json(const __VA_ARGS__&);                             \
  template std::string korvane::encoding::to_shown_json(const __VA_ARGS__&);                       \
  template void korvane::encoding::write_json(const __VA_ARGS__&, const JsonSink&);                \
  template std::string korvane::encoding::add_json_schema<__VA_ARGS__>(JsonSchemas&, SchemaOf);

#define KORVANE_MAKE_GENERIC(name) \
  template korvane::encoding::IdlDeclaration korvane::encoding::idl_generic_declaration<name>();

/// Makes one enumeration: its lookup maps and its declaration.
#define KORVANE_MAKE_ENUMERATION(name)  \
  template struct bond::EnumMaps<name>; \
  template korvane::encoding::IdlDeclaration korvane::encoding::idl_declaration<name>();
