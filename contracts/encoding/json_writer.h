#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "bond/kinds.h"
#include "contracts/encoding/enumerator_numbers.h"
#include "contracts/encoding/json.h"
#include "contracts/encoding/place.h"

namespace korvane::encoding::detail {

/// JSON text that is being written: kept whole, or handed on in pieces.
class JsonOutput {
 public:
  /// Keeps all of it.
  JsonOutput() = default;
  /// Hands it on; `sink` must outlive it.
  explicit JsonOutput(const JsonSink& sink) : sink_(&sink) {}

  JsonOutput& operator+=(char c) {
    *room(1) = c;
    ++used_;
    return *this;
  }
  JsonOutput& operator+=(std::string_view piece) {
    std::copy(piece.begin(), piece.end(), room(piece.size()));
    used_ += piece.size();
    return *this;
  }
  /// The character that was written last. Something must have been.
  char back() const { return used_ == 0 ? last_ : buffer_[used_ - 1]; }

  /// Room for so many characters more, of which `wrote` then tells how many there are.
  char* room(std::size_t size) {
    if (buffer_.size() - used_ < size) make_room(size);
    return buffer_.data() + used_;
  }
  void wrote(std::size_t size) { used_ += size; }

  /// The text that is kept: all of it without a sink, else the part that is still to be handed on.
  std::string take() {
    buffer_.resize(used_);
    used_ = 0;
    return std::exchange(buffer_, {});
  }
  /// Hands the rest on.
  void finish() {
    if (sink_ != nullptr && used_ != 0) hand_on();
  }

 private:
  static constexpr std::size_t kLeast = 512;
  static constexpr std::size_t kPiece = std::size_t{64} * 1024;

  void make_room(std::size_t size) {
    if (sink_ != nullptr && used_ + size > kPiece && used_ != 0) hand_on();
    if (buffer_.size() - used_ >= size) return;
    buffer_.resize(std::max({kLeast, buffer_.size() * 2, used_ + size}));
  }

  void hand_on() {
    last_ = back();
    (*sink_)(std::string_view(buffer_).substr(0, used_));
    used_ = 0;
  }

  const JsonSink* sink_ = nullptr;
  /// As far as it is used, the text; what comes after that means nothing.
  std::string buffer_;
  std::size_t used_ = 0;
  char last_ = 0;
};

/// Writes a value of each kind. Throws JsonError, with its place, for what JSON cannot say.
class JsonWriter {
 public:
  /// Keeps the whole text.
  JsonWriter() = default;
  /// Hands it on; `sink` must outlive it.
  explicit JsonWriter(const JsonSink& sink) : text_(sink) {}
  /// Keeps it, and writes something else for what JSON cannot say.
  static JsonWriter that_replaces() {
    JsonWriter writer;
    writer.replaces_ = true;
    return writer;
  }

  /// The text, if it is kept.
  std::string take() { return text_.take(); }
  /// Hands the rest on, if it is not.
  void finish() { text_.finish(); }

  void write(bond::Bool auto value, const Place&) { text_ += value ? "true" : "false"; }
  void write(bond::Int32 auto value, const Place&) { write_int32(value); }
  void write(bond::Double auto value, const Place& place) { write_double(value, place); }
  void write(const bond::Text auto& value, const Place& place) { write_text(value, place); }
  void write(const bond::Blob auto& value, const Place&) { write_blob(value); }

  template <bond::Enumeration E>
  void write(E value, const Place&) {
    write_enumeration(static_cast<std::int32_t>(value), enumerator_numbers_v<E>);
  }

  void write(const bond::Nullable auto& value, const Place& place) {
    value.hasvalue() ? write(value.value(), place) : void(text_ += "null");
  }
  void write(const bond::Maybe auto& value, const Place& place) {
    value ? write(value.value(), place) : void(text_ += "null");
  }

  void write(const bond::List auto& list, const Place& place) {
    text_ += '[';
    for (std::size_t i = 0; i < list.size(); ++i) {
      write_separator();
      write(list[i], Place(place, i));
    }
    text_ += ']';
  }

  void write(const bond::Map auto& map, const Place& place) {
    text_ += '{';
    for (const auto& [key, mapped] : map) {
      const Place entry_place(place, key);
      write_separator();
      write_text(key, entry_place);
      text_ += ':';
      write(mapped, entry_place);
    }
    text_ += '}';
  }

  void write(const bond::Record auto& record, const Place& place) {
    text_ += '{';
    write_fields(record, place);
    text_ += '}';
  }

 private:
  template <bond::Record T>
  void write_fields(const T& record, const Place& place) {
    if constexpr (bond::DescribedWithBase<T>) {
      write_fields<typename bond::Describe<T>::base>(record, place);
    }
    bond::for_each_field<T>([&](const auto& field) {
      write_name(field.name);
      write(record.*field.member, Place(place, field.name));
    });
  }

  void write_int32(std::int32_t value);
  void write_double(double value, const Place& place);
  void write_text(std::string_view value, const Place& place);
  void write_blob(const bond::blob& value);
  void write_enumeration(std::int32_t value, std::span<const EnumeratorNumber> enumerators);
  /// Appends a comma, except before the first element; call it before each element.
  void write_separator();
  /// Appends what needs no escaping, in quotes.
  void write_quoted(std::string_view text);
  /// Appends `"name":` for the name of a field, with a comma before it unless it is the first.
  void write_name(std::string_view name) {
    constexpr std::size_t kAround = 4;  // a comma, the quotes and the colon
    const bool is_first = text_.back() == '{';
    char* const begin = text_.room(name.size() + kAround);
    char* end = begin;
    if (!is_first) *end++ = ',';
    *end++ = '"';
    end = std::copy(name.begin(), name.end(), end);
    *end++ = '"';
    *end++ = ':';
    text_.wrote(static_cast<std::size_t>(end - begin));
  }

  JsonOutput text_;
  bool replaces_ = false;
};

}  // namespace korvane::encoding::detail
