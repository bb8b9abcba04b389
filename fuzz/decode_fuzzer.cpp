// The first byte names a contract, the others are read as a record of it. Reading ends in one of
// the documented exceptions, or in a record that encodes to bytes which read as the same record.

#include <cstddef>
#include <cstdint>
#include <stdexcept>

#include "bond/exception.h"
#include "contracts/encoding/record_codec.h"
#include "fuzz/chosen_contract.h"

namespace {

using korvane::fuzz::promise;

struct Decode {
  const std::uint8_t* bytes;
  std::uint32_t length;

  /// False where the bytes are no record.
  template <class T>
  bool read_into(T& record) const {
    const korvane::fuzz::InProportion memory(length);
    try {
      korvane::encoding::decode_into(bytes, length, record);
      return true;
    } catch (const bond::StreamException&) {
      return false;
    } catch (const bond::CoreException&) {
      return false;
    } catch (const std::overflow_error&) {
      return false;
    }
  }

  template <class T>
  void operator()() const {
    T record{};
    const bool is_read = read_into(record);
    // What was read before a failure can be written all the same.
    const bond::blob written = korvane::encoding::encode(record);
    const T again = korvane::encoding::decode<T>(written);
    // Bytes are compared, not records: a NaN does not equal itself.
    promise(korvane::encoding::encode(again) == written, "what is written reads back the same");
    promise(read_into(record) == is_read, "reading over a record fails where reading anew does");
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  korvane::fuzz::with_contract(data[0], Decode{data + 1, static_cast<std::uint32_t>(size - 1)});
  return 0;
}
