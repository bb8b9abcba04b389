#include "host/text/shortened.h"

namespace korvane::host {

std::string shortened(std::string_view text, std::size_t most) {
  if (text.size() <= most) return std::string(text);
  std::size_t end = most;
  const auto is_inside_character = [&] {
    return (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U;
  };
  while (end > 0 && is_inside_character()) --end;
  return std::string(text.substr(0, end)) + "…";
}

}  // namespace korvane::host
