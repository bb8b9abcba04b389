#include <string>
#include <string_view>

#include "tools/manual/completion.h"

namespace korvane::manual {

namespace {

std::string in_quotes(std::string_view text) {
  std::string result = "'";
  for (const char letter : text) {
    if (letter == '\'' || letter == '\\') result += '\\';
    result += letter;
  }
  return result + "'";
}

/// True in the words of `command`: all that its name has have been typed.
std::string condition(const CommandText& command) {
  std::string text;
  std::size_t at = command.name.find(' ');
  while (at != std::string::npos) {
    const std::size_t end = command.name.find(' ', at + 1);
    text += (text.empty() ? "" : "; and ") + std::string("__fish_seen_subcommand_from ") +
            command.name.substr(at + 1, end == std::string::npos ? end : end - at - 1);
    at = end;
  }
  return text;
}

std::string option_line(const std::string& where, const OptionText& option) {
  std::string line = "complete -c korvane" + where;
  const auto add_name = [&](const std::string& name) {
    line += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
  };
  add_name(option.name);
  if (!option.short_name.empty()) add_name(option.short_name);
  if (!option.choices.empty()) {
    std::string words;
    for (const std::string& choice : option.choices) words += (words.empty() ? "" : " ") + choice;
    line += " -x -a " + in_quotes(words);
  } else if (option.is_folder) {
    line += " -x -a '(__fish_complete_directories)'";
  } else if (!option.value.empty()) {
    line += " -r -F";
  }
  return line + " -d " + in_quotes(option.text) + "\n";
}

std::string lines(const CommandText& command, bool is_program) {
  const std::string own = condition(command);
  const std::string where = is_program ? "" : " -n " + in_quotes(own);
  std::string text;
  for (const OptionText& option : command.options) text += option_line(where, option);
  if (command.commands.empty()) return text;
  std::string words;
  for (const CommandText& sub : command.commands) words += " " + sub.word();
  const std::string before =
      is_program ? "__fish_use_subcommand" : own + "; and not __fish_seen_subcommand_from" + words;
  for (const CommandText& sub : command.commands) {
    text += "complete -c korvane -n " + in_quotes(before) + " -f -a " + sub.word() + " -d " +
            in_quotes(sub.text) + "\n";
  }
  for (const CommandText& sub : command.commands) text += lines(sub, false);
  return text;
}

}  // namespace

std::string fish_completion(const CommandText& program) {
  return "# Completion of korvane in fish. Made from the descriptions of the commands; don't "
         "edit.\n" +
         lines(program, true);
}

}  // namespace korvane::manual
