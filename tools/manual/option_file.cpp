#include "tools/manual/option_file.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "tools/korvane/help.h"

namespace korvane::manual {

namespace {

constexpr std::size_t kWidth = 98;

std::string commented(const std::string& text) {
  std::istringstream lines(tools::wrapped(text, kWidth));
  std::string result;
  for (std::string line; std::getline(lines, line);) result += "# " + line + "\n";
  return result;
}

/// What stands for the default behind the name; of a text that explains it nothing.
std::string shown_default(const OptionText& option) {
  if (option.value.empty()) return " false";
  if (option.value == "NUMBER") return option.standard.empty() ? "" : " " + option.standard;
  const bool is_explained = option.standard.find(' ') != std::string::npos;
  const std::string text = '"' + (is_explained ? "" : option.standard) + '"';
  return option.is_repeatable ? " [" + text + "]" : " " + text;
}

}  // namespace

std::vector<OptionText> file_options(const CommandText& serve) {
  std::vector<OptionText> options;
  for (OptionText option : serve.options) {
    if (option.variable.empty()) continue;
    option.name.erase(0, option.name.find_first_not_of('-'));
    options.push_back(option);
  }
  return options;
}

std::string option_file(const CommandText& serve, std::map<std::string, std::string> values) {
  std::string text = commented(
      "Options of the korvane server: korvane.conf(5). Those that are commented out show their "
      "defaults. After a change: systemctl restart korvane");
  for (const OptionText& option : file_options(serve)) {
    const bool is_explained = option.standard.find(' ') != std::string::npos;
    text += "\n" + commented(option.text + (is_explained ? ". Default: " + option.standard : ""));
    const auto value = values.extract(option.name);
    text += value.empty() ? "#" + option.name + " =" + shown_default(option)
                          : option.name + " = " + value.mapped();
    text += '\n';
  }
  if (!values.empty()) {
    throw std::runtime_error("serve has no option " + values.begin()->first);
  }
  return text;
}

}  // namespace korvane::manual
