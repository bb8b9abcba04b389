// Any bytes at all, read as each kind of stored record: an exception of the decoder, or a record
// that encodes to bytes which read as the same record again.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>

#include "contracts/cad/contracts.h"
#include "contracts/encoding/record_codec.h"

namespace {

template <class T>
void decode_encode_decode(const std::uint8_t* data, std::uint32_t size) {
  T record{};
  try {
    korvane::encoding::decode_into(data, size, record);
  } catch (const std::exception&) {
    return;
  }
  const bond::blob bytes = korvane::encoding::encode(record);
  const T again = korvane::encoding::decode<T>(bytes);
  // Bytes are compared, not records: a NaN does not equal itself.
  if (korvane::encoding::encode(again) != bytes) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace korvane::model::cad;
  if (size == 0) return 0;
  const std::uint8_t* const bytes = data + 1;
  const auto length = static_cast<std::uint32_t>(size - 1);
  switch (*data % 9) {
    case 0:
      decode_encode_decode<Material>(bytes, length);
      break;
    case 1:
      decode_encode_decode<FabricType>(bytes, length);
      break;
    case 2:
      decode_encode_decode<Sheet>(bytes, length);
      break;
    case 3:
      decode_encode_decode<Revision>(bytes, length);
      break;
    case 4:
      decode_encode_decode<ProjectData>(bytes, length);
      break;
    case 5:
      decode_encode_decode<Fabric>(bytes, length);
      break;
    case 6:
      decode_encode_decode<BarSpacer>(bytes, length);
      break;
    case 7:
      decode_encode_decode<MountingPart>(bytes, length);
      break;
    default:
      decode_encode_decode<Rebar>(bytes, length);
  }
  return 0;
}
