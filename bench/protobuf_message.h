#pragma once

#include <google/protobuf/message.h>
#include <google/protobuf/util/message_differencer.h>
#include <stdexcept>
#include <string>

#include "bond/describe.h"
#include "bond/kinds.h"

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

/// Fills a message, or sets one field of it to a value of each kind.
class MessageWriter {
 public:
  explicit MessageWriter(Message& message)
      : message_(message), reflection_(*message.GetReflection()) {}

  template <bond::Record T>
  void fill(const T& record) {
    const T standard{};
    bond::for_each_field<T>([&](const auto& described) {
      const auto* const field =
          message_.GetDescriptor()->FindFieldByName(std::string(described.name));
      if (field == nullptr) fail(message_, field, described.name, "is missing");
      if (field->number() != described.ordinal + 1) {
        fail(message_, field, described.name, "has another number");
      }
      const auto& value = record.*described.member;
      set(field, value);
      if (!(value == standard.*described.member) && !is_set(field, value)) {
        fail(message_, field, described.name, "is not set");
      }
    });
  }

 private:
  void set(const FieldDescriptor* field, bond::Bool auto value) {
    reflection_.SetBool(&message_, field, value);
  }
  void set(const FieldDescriptor* field, bond::Int32 auto value) {
    reflection_.SetInt32(&message_, field, value);
  }
  void set(const FieldDescriptor* field, bond::Double auto value) {
    reflection_.SetDouble(&message_, field, value);
  }
  void set(const FieldDescriptor* field, const bond::Text auto& value) {
    reflection_.SetString(&message_, field, value);
  }
  void set(const FieldDescriptor* field, bond::Enumeration auto value) {
    reflection_.SetEnumValue(&message_, field, static_cast<std::int32_t>(value));
  }
  void set(const FieldDescriptor* field, const bond::Blob auto& value) {
    reflection_.SetString(&message_, field, std::string(value.content(), value.size()));
  }
  void set(const FieldDescriptor* field, const bond::Nullable auto& value) {
    if (value.hasvalue()) set(field, *value);
  }
  void set(const FieldDescriptor* field, const bond::List auto& list) {
    for (const auto& element : list) {
      MessageWriter(*reflection_.AddMessage(&message_, field)).fill(element);
    }
  }
  void set(const FieldDescriptor* field, const bond::Map auto& map) {
    for (const auto& [key, mapped] : map) {
      MessageWriter entry(*reflection_.AddMessage(&message_, field));
      entry.set(field->message_type()->map_key(), key);
      entry.set(field->message_type()->map_value(), mapped);
    }
  }
  void set(const FieldDescriptor* field, const bond::Record auto& record) {
    MessageWriter(*reflection_.MutableMessage(&message_, field)).fill(record);
  }

  bool is_set(const FieldDescriptor* field, const auto&) const {
    return reflection_.HasField(message_, field);
  }
  template <class M>
  requires bond::List<M> || bond::Map<M>
  bool is_set(const FieldDescriptor* field, const M& value) const {
    return static_cast<std::size_t>(reflection_.FieldSize(message_, field)) == value.size();
  }

  Message& message_;
  const google::protobuf::Reflection& reflection_;
};

}  // namespace detail

/// A message with every field of `record`. Throws std::logic_error for a field of the contract that
/// the message has not, has under another number than the ordinal and one, or has not set when the
/// record has.
template <class ProtobufMessage, bond::Record T>
ProtobufMessage message_of(const T& record) {
  ProtobufMessage filled;
  detail::MessageWriter(filled).fill(record);
  // Read back, a message is made as its users make it: reflection leaves maps in another state.
  ProtobufMessage message;
  if (!message.ParseFromString(filled.SerializeAsString()) ||
      !google::protobuf::util::MessageDifferencer::Equals(filled, message)) {
    throw std::logic_error(filled.GetTypeName() + " does not read back");
  }
  return message;
}

}  // namespace korvane::bench
