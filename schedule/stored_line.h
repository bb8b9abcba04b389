#pragma once

#include <cstdint>
#include <new>
#include <string>

#include "contracts/encoding/record_codec.h"
#include "platform/rpc4/failure.h"
#include "schedule/line_kind.h"
#include "schedule/query.h"

namespace korvane::schedule {

/// The line that the row `id` has stored in its column `raw`. Throws krv::rpc4::UnusableRow "the
/// record of the bar with the id 7 (table rebar) is damaged: <reason>", by which a user finds it
/// among thousands, and `korvane check` it in the file.
template <class T>
T stored_line(std::int64_t id, const Variant& raw) {
  const std::string bytes = raw.value_string.hasvalue() ? *raw.value_string : "";
  try {
    return encoding::decode<T>(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& failure) {
    std::string text = "the record of the ";
    text += LineKind<T>::kOne;
    text += " with the id " + std::to_string(id);
    text += std::string(" (table ") + LineKind<T>::kTable + ") is damaged: ";
    throw krv::rpc4::UnusableRow(text + failure.what());
  }
}

}  // namespace korvane::schedule
