#include "platform/rpc4/http.h"

namespace krv::rpc4 {

namespace {

/// All others are percent-encoded, also those that a segment may hold as they are (RFC 3986,
/// section 3.3).
bool stands_for_itself(char c) {
  const bool is_letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
  const bool is_digit = c >= '0' && c <= '9';
  return is_letter || is_digit || std::string_view("-._~:@").find(c) != std::string_view::npos;
}

/// `path` with `value` in the place of `name`. Values have no braces.
std::string filled(std::string_view path, std::string_view name, std::string_view value) {
  std::string text(path);
  return text.replace(text.find(name), name.size(), value);
}

}  // namespace

std::string path_segment(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : text) {
    if (stands_for_itself(c)) {
      encoded += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    encoded += '%';
    encoded += kDigits[byte >> 4U];
    encoded += kDigits[byte & 0x0FU];
  }
  return encoded;
}

bool is_served_by_get(const Operation& operation) {
  return operation.effect == Effect::reads || operation.effect == Effect::queries;
}

std::vector<std::string> methods_of(const Operation& operation) {
  if (is_served_by_get(operation)) return {"GET", "HEAD", "POST"};
  return {"POST"};
}

std::string project_path(std::string_view file, std::string_view operation) {
  return filled(filled(kProjectOperationPath, "{operation}", operation), "{file}",
                path_segment(file));
}

std::string operation_path(std::string_view service_segment, std::string_view operation) {
  return filled(filled(kServiceOperationPath, "{operation}", operation), "{service_id}",
                service_segment);
}

}  // namespace krv::rpc4
