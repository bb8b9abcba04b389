#include "schedule/xlsx_check.h"

#include <array>
#include <cstddef>
#include <fstream>
#include <istream>
#include <string_view>

#include <Poco/Exception.h>
#include <Poco/Zip/ZipArchive.h>
#include <Poco/Zip/ZipStream.h>

namespace korvane::schedule {

namespace {

/// The name of the root element, by the first bytes of a part.
std::string_view root_of(std::string_view begin) {
  std::size_t at = begin.find('<');
  while (at != std::string_view::npos && begin.substr(at).starts_with("<?")) {
    at = begin.find('<', at + 1);
  }
  if (at == std::string_view::npos) return {};
  const std::string_view rest = begin.substr(at + 1);
  return rest.substr(0, rest.find_first_of(" />\r\n"));
}

bool is_whole(std::istream& part) {
  constexpr std::size_t kEnd = 64;
  std::string begin;
  std::string end;
  std::array<char, std::size_t{64} * 1024> piece{};
  while (part.read(piece.data(), piece.size()), part.gcount() > 0) {
    const std::string_view read(piece.data(), static_cast<std::size_t>(part.gcount()));
    if (begin.empty()) begin = read;
    end += read;
    if (end.size() > kEnd) end.erase(0, end.size() - kEnd);
  }
  while (!end.empty() && (end.back() == '\n' || end.back() == '\r')) end.pop_back();
  const std::string_view root = root_of(begin);
  return !root.empty() && (end.ends_with("</" + std::string(root) + ">") || end.ends_with("/>"));
}

}  // namespace

std::string fault_of_xlsx(const std::string& filename) {
  std::ifstream file(filename, std::ios::binary);
  if (!file) return "it cannot be read back";
  try {
    const Poco::Zip::ZipArchive archive(file);
    for (auto header = archive.headerBegin(); header != archive.headerEnd(); ++header) {
      file.clear();
      Poco::Zip::ZipInputStream part(file, header->second);
      if (!is_whole(part)) return header->first + " is not whole";
    }
    return archive.headerBegin() == archive.headerEnd() ? "it is empty" : "";
  } catch (const Poco::Exception& failure) {
    return "it cannot be read back: " + failure.displayText();
  }
}

}  // namespace korvane::schedule
