#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace korvane::manual {

/// An option or an argument, as people are told of it.
struct OptionText {
  /// "--output"; of an argument its name, "PROJECT".
  std::string name;
  /// "-o", or empty.
  std::string short_name;
  std::string text;
  /// The word for its value, such as "FILE"; empty for an option that takes none.
  std::string value;
  /// The only values that it takes, where it has such.
  std::vector<std::string> choices;
  /// Empty for none.
  std::string standard;
  std::string variable;
  bool is_argument = false;
  bool is_required = false;
  bool is_repeatable = false;
  bool is_folder = false;
};

/// A command of the program, or the program.
struct CommandText {
  /// As it is typed: "korvane token add".
  std::string name;
  std::string text;
  std::vector<OptionText> options;
  std::vector<OptionText> arguments;
  /// What is told below the options, as paragraphs and as lines that are typed.
  std::vector<std::string> paragraphs;
  std::vector<std::string> examples;
  std::vector<CommandText> commands;

  /// The last word of the name.
  std::string word() const { return name.substr(name.rfind(' ') + 1); }
};

/// Reads off `command`, whose full name is `name`, what its --help prints.
CommandText command_text(CLI::App& command, const std::string& name);

/// The same of the whole program. --config, which the library wants beside the commands, stands with
/// the one command that takes it.
CommandText program_text(CLI::App& program);

}  // namespace korvane::manual
