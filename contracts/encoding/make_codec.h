#pragma once

#include "bond/input_buffer.h"
#include "bond/metadata.h"
#include "bond/output_buffer.h"
#include "bond/serialize.h"
#include "contracts/encoding/record_codec.h"

/// What a folder's `codec.cpp` includes to make the codec and the metadata of its contracts.
namespace korvane::encoding {

template <class T>
bond::blob encode(const T& record) {
  bond::OutputBuffer output;
  bond::CompactBinaryWriter<bond::OutputBuffer> writer(output);
  bond::Serialize(record, writer);
  return output.GetBuffer();
}

template <class T>
std::uint32_t decode_into(const void* bytes, std::uint32_t length, T& record) {
  bond::CompactBinaryReader<bond::InputBuffer> input(bond::InputBuffer(bytes, length));
  bond::DeserializeFrom(input, record);
  return input.GetBuffer().position();
}

}  // namespace korvane::encoding

/// Makes the codec and the metadata of one contract, and checks its description.
#define KORVANE_MAKE_CONTRACT(...)                                                                 \
  static_assert(bond::is_described_whole<__VA_ARGS__>(),                                           \
                "a field is not described, or the "                                                \
                "ordinals do not rise");                                                           \
  template bond::blob korvane::encoding::encode(const __VA_ARGS__&);                               \
  template std::uint32_t korvane::encoding::decode_into(const void*, std::uint32_t, __VA_ARGS__&); \
  template struct bond::Schema<__VA_ARGS__>;
