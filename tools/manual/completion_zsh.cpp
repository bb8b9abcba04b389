#include <string>
#include <string_view>

#include "tools/manual/completion.h"

namespace korvane::manual {

namespace {

/// Text between single quotes, with a backslash before what means something to _arguments.
std::string inside_quotes(std::string_view text) {
  std::string result;
  for (const char letter : text) {
    if (letter == '\'') {
      result += "'\\''";
    } else {
      if (letter == '[' || letter == ']' || letter == ':' || letter == '\\') result += '\\';
      result += letter;
    }
  }
  return result;
}

std::string action(const OptionText& option) {
  if (option.is_folder) return "_files -/";
  if (option.choices.empty()) return "_files";
  std::string words;
  for (const std::string& choice : option.choices) words += (words.empty() ? "" : " ") + choice;
  return "(" + words + ")";
}

/// The option for _arguments, on a line of its own.
std::string argument_of(const OptionText& option) {
  const std::string value = option.value.empty() ? "" : ":" + option.value + ":" + action(option);
  const std::string text = "[" + inside_quotes(option.text) + "]" + value;
  const std::string repeat = option.is_repeatable ? "*" : "";
  std::string lines = "      '" + repeat + option.name + text + "' \\\n";
  if (!option.short_name.empty()) {
    lines += "      '" + repeat + option.short_name + text + "' \\\n";
  }
  return lines;
}

std::string specifications(const CommandText& command) {
  std::string lines;
  for (const OptionText& option : command.options) lines += argument_of(option);
  for (const OptionText& argument : command.arguments) {
    lines += "      '" + std::string(argument.is_repeatable ? "*" : "") + ":" +
             inside_quotes(argument.name) + ":" + action(argument) + "' \\\n";
  }
  return lines;
}

std::string function_name(const CommandText& command) {
  std::string name = "_" + command.name;
  for (char& letter : name) {
    if (letter == ' ' || letter == '-') letter = '_';
  }
  return name;
}

/// A function that completes the words of `command`, and the ones for those below it.
std::string functions(const CommandText& command, const std::string& common) {
  std::string text = function_name(command) + "() {\n";
  if (command.commands.empty()) {
    return text + "  _arguments -s \\\n" + specifications(command) + common +
           "      && return\n}\n\n";
  }
  text += "  local context state line\n  typeset -A opt_args\n  local -a commands=(\n";
  for (const CommandText& sub : command.commands) {
    text += "    '" + inside_quotes(sub.word()) + ":" + inside_quotes(sub.text) + "'\n";
  }
  text += "  )\n  _arguments -C -s \\\n" + specifications(command) + common +
          "      '1: :->command' '*:: :->arguments' && return\n"
          "  case $state in\n    command) _describe command commands ;;\n    arguments)\n"
          "      case $words[1] in\n";
  for (const CommandText& sub : command.commands) {
    text += "        " + sub.word() + ") " + function_name(sub) + " ;;\n";
  }
  text += "      esac\n      ;;\n  esac\n}\n\n";
  for (const CommandText& sub : command.commands) text += functions(sub, common);
  return text;
}

}  // namespace

std::string zsh_completion(const CommandText& program) {
  CommandText top = program;
  std::string common;
  std::erase_if(top.options, [&](const OptionText& option) {
    if (option.name == "--help" || option.name == "--version") return false;
    common += argument_of(option);
    return true;
  });
  return "#compdef korvane\n"
         "# Completion of korvane in zsh. Made from the descriptions of the commands; don't "
         "edit.\n\n" +
         functions(top, common) + "_korvane \"$@\"\n";
}

}  // namespace korvane::manual
