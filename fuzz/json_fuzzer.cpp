// The first byte names a contract, the others are read as the JSON of a record of it. Reading ends
// in a JsonError, or in a record that is written as JSON and read from it as the same record.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "contracts/encoding/json.h"
#include "contracts/encoding/record_codec.h"
#include "fuzz/chosen_contract.h"
#include "fuzz/utf8.h"

namespace {

using korvane::fuzz::promise;

struct ReadJson {
  std::string_view text;

  template <class T>
  std::optional<T> read() const {
    const korvane::fuzz::InProportion memory(text.size());
    try {
      return korvane::encoding::from_json<T>(text);
    } catch (const korvane::encoding::JsonError& failure) {
      promise(korvane::fuzz::is_utf8(failure.what()), "what is said of a failure is UTF-8");
      return std::nullopt;
    }
  }

  template <class T>
  void operator()() const {
    using korvane::encoding::encode;
    const std::optional<T> record = read<T>();
    if (!record) return;
    const std::string written = korvane::encoding::to_json(*record);
    const T again = korvane::encoding::from_json<T>(written);
    promise(korvane::encoding::to_json(again) == written, "JSON that is written reads back");
    const bond::blob bytes = encode(*record);
    promise(encode(again) == bytes, "a record that goes through JSON has the same bytes");
    const T decoded = korvane::encoding::decode<T>(bytes);
    promise(decoded == *record, "a record from JSON reads back from its bytes");
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const auto* const text = reinterpret_cast<const char*>(data + 1);
  korvane::fuzz::with_contract(data[0], ReadJson{{text, size - 1}});
  return 0;
}
