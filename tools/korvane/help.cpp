#include "tools/korvane/help.h"

#include <sstream>

namespace korvane::tools {

namespace {

constexpr std::size_t kTerminalWidth = 80;

}  // namespace

std::string wrapped(const std::string& text, std::size_t width) {
  std::string lines;
  std::size_t used = 0;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    if (lines.empty()) {
      used = word.size();
    } else if (used + 1 + word.size() <= width) {
      lines += ' ';
      used += 1 + word.size();
    } else {
      lines += '\n';
      used = word.size();
    }
    lines += word;
  }
  return lines;
}

std::string HelpFormatter::make_description(const CLI::App* command) const {
  return wrapped(command->get_description(), kTerminalWidth) + "\n";
}

std::string HelpFormatter::make_subcommand(const CLI::App* command) const {
  std::ostringstream text;
  CLI::detail::format_help(text, command->get_display_name(true),
                           description(command->get_description()), get_column_width());
  return text.str();
}

std::string HelpFormatter::make_option_opts(const CLI::Option* option) const {
  std::string text = Formatter::make_option_opts(option);
  const std::string variable = " (" + get_label("Env") + ":" + option->get_envname() + ")";
  if (const auto at = text.find(variable); at != std::string::npos) text.erase(at, variable.size());
  return text;
}

std::string HelpFormatter::make_option_desc(const CLI::Option* option) const {
  return description(option->get_description());
}

std::string HelpFormatter::make_footer(const CLI::App* command) const {
  std::istringstream lines(command->get_footer());
  std::string text;
  for (std::string line; std::getline(lines, line);) {
    text += (line.starts_with(' ') ? line : wrapped(line, kTerminalWidth)) + "\n";
  }
  return text;
}

std::string HelpFormatter::description(const std::string& text) const {
  return wrapped(text, kTerminalWidth - get_column_width());
}

}  // namespace korvane::tools
