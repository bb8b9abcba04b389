#pragma once

#include <google/protobuf/message.h>
#include <google/protobuf/util/message_differencer.h>
#include <stdexcept>
#include <string>

#include "bond/describe.h"
#include "bond/enumeration.h"
#include "bond/wire_type.h"

/// Records as messages of Protocol Buffers: field by field from the contract's description, by
/// name, so that the `.proto` file cannot fall behind the contracts unnoticed.
namespace korvane::bench {

namespace detail {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

[[noreturn]] inline void fail(const Message& message, const FieldDescriptor* field,
                              std::string_view name, const char* what) {
  throw std::logic_error(message.GetTypeName() + "." +
                         (field != nullptr ? field->name() : std::string(name)) + " " + what);
}

template <bond::Described T>
void fill(const T& record, Message& message);

template <class M>
void set(const M& value, Message& message, const FieldDescriptor* field) {
  const auto* const reflection = message.GetReflection();
  if constexpr (bond::is_nullable_v<M>) {
    if (value.hasvalue()) set(*value, message, field);
  } else if constexpr (bond::is_vector_v<M>) {
    for (const auto& element : value) fill(element, *reflection->AddMessage(&message, field));
  } else if constexpr (bond::is_map_v<M>) {
    for (const auto& [key, mapped] : value) {
      Message& entry = *reflection->AddMessage(&message, field);
      set(key, entry, field->message_type()->map_key());
      set(mapped, entry, field->message_type()->map_value());
    }
  } else if constexpr (bond::Described<M>) {
    fill(value, *reflection->MutableMessage(&message, field));
  } else if constexpr (std::is_enum_v<M>) {
    reflection->SetEnumValue(&message, field, static_cast<std::int32_t>(value));
  } else if constexpr (std::is_same_v<M, bool>) {
    reflection->SetBool(&message, field, value);
  } else if constexpr (std::is_same_v<M, std::int32_t>) {
    reflection->SetInt32(&message, field, value);
  } else if constexpr (std::is_same_v<M, double>) {
    reflection->SetDouble(&message, field, value);
  } else if constexpr (std::is_same_v<M, bond::blob>) {
    reflection->SetString(&message, field, std::string(value.content(), value.size()));
  } else {
    reflection->SetString(&message, field, value);
  }
}

template <class M>
bool is_set_in(const Message& message, const FieldDescriptor* field, const M& value) {
  if constexpr (bond::is_vector_v<M> || bond::is_map_v<M>) {
    return static_cast<std::size_t>(message.GetReflection()->FieldSize(message, field)) ==
           value.size();
  } else {
    return message.GetReflection()->HasField(message, field);
  }
}

template <bond::Described T>
void fill(const T& record, Message& message) {
  const T standard{};
  bond::for_each_field<T>([&](auto described) {
    const auto* const field = message.GetDescriptor()->FindFieldByName(std::string(described.name));
    if (field == nullptr) fail(message, field, described.name, "is missing");
    if (field->number() != described.ordinal + 1) {
      fail(message, field, described.name, "has another number");
    }
    const auto& value = record.*described.member;
    set(value, message, field);
    if (!(value == standard.*described.member) && !is_set_in(message, field, value)) {
      fail(message, field, described.name, "is not set");
    }
  });
}

}  // namespace detail

/// A message with every field of `record`. Throws std::logic_error for a field of the contract that
/// the message has not, has under another number than the ordinal and one, or has not set when the
/// record has.
template <class ProtobufMessage, bond::Described T>
ProtobufMessage message_of(const T& record) {
  ProtobufMessage filled;
  detail::fill(record, filled);
  // Read back, a message is made as its users make it: reflection leaves maps in another state.
  ProtobufMessage message;
  if (!message.ParseFromString(filled.SerializeAsString()) ||
      !google::protobuf::util::MessageDifferencer::Equals(filled, message)) {
    throw std::logic_error(filled.GetTypeName() + " does not read back");
  }
  return message;
}

}  // namespace korvane::bench
