#include "tools/manual/command_text.h"

#include <algorithm>
#include <sstream>
#include <utility>

namespace korvane::manual {

namespace {

/// The only values that `option` takes. The library keeps them to itself, and names them where it
/// refuses another: "x not in {csv,json}", "Check x value in {csv->0,json->1} OR {0,1} FAILED".
std::vector<std::string> choices_of(CLI::Option& option) {
  std::vector<std::string> choices;
  std::string refused = "\x01";
  std::string refusal;
  try {
    refusal = (*option.get_validator(0))(refused);
  } catch (const CLI::OptionNotFound&) {
    return {};
  }
  const auto open = refusal.find('{');
  if (open == std::string::npos) return {};
  std::istringstream list(refusal.substr(open + 1, refusal.find('}', open) - open - 1));
  for (std::string one; std::getline(list, one, ',');)
    choices.push_back(one.substr(0, one.find("->")));
  return choices;
}

/// The word for a value of the library's type.
std::string value_word(const std::string& type) {
  const std::string word = type.substr(0, type.find(':'));
  if (word == "UINT" || word == "FLOAT" || word == "INT") return "NUMBER";
  return word == "TEXT" ? "VALUE" : word;
}

OptionText option_text(CLI::Option& option) {
  OptionText text;
  text.is_argument = option.get_positional();
  text.name = text.is_argument              ? option.get_name(true)
              : option.get_lnames().empty() ? "-" + option.get_snames().front()
                                            : "--" + option.get_lnames().front();
  if (!option.get_lnames().empty() && !option.get_snames().empty()) {
    text.short_name = "-" + option.get_snames().front();
  }
  text.text = option.get_description();
  if (option.get_expected_max() != 0) {
    const std::string type = option.get_type_name();
    text.is_folder = type.find("DIR") != std::string::npos;
    text.value = text.is_folder ? "FOLDER" : value_word(type);
    if (text.value.empty()) text.value = "FILE";  // the library's own --config
    text.choices = choices_of(option);
  }
  text.standard = option.get_default_str();
  text.variable = option.get_envname();
  text.is_required = option.get_required();
  text.is_repeatable = option.get_expected_max() > 1;
  return text;
}

void read_footer(const std::string& footer, CommandText& command) {
  std::istringstream lines(footer);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(' ')) {
      command.examples.push_back(line.substr(line.find_first_not_of(' ')));
    } else if (!line.empty() && line != "Example:" && line != "Examples:") {
      command.paragraphs.push_back(line);
    }
  }
}

}  // namespace

CommandText command_text(CLI::App& command, const std::string& name) {
  CommandText text;
  const auto all_options = [](const CLI::Option*) { return true; };
  const auto all_commands = [](const CLI::App*) { return true; };
  text.name = name;
  text.text = command.get_description();
  for (CLI::Option* const option : command.get_options(all_options)) {
    OptionText one = option_text(*option);
    (one.is_argument ? text.arguments : text.options).push_back(std::move(one));
  }
  read_footer(command.get_footer(), text);
  for (CLI::App* const sub : command.get_subcommands(all_commands)) {
    text.commands.push_back(command_text(*sub, name + " " + sub->get_name()));
  }
  return text;
}

CommandText program_text(CLI::App& program) {
  // By default those that were built with the program, wherever that is installed.
  program.get_option("--plugins")->default_str("those that came with the program");
  CommandText text = command_text(program, program.get_name());
  const auto config =
      std::find_if(text.options.begin(), text.options.end(), [&](const auto& option) {
        return "--" + program.get_config_ptr()->get_lnames().front() == option.name;
      });
  for (CommandText& command : text.commands) {
    if (command.word() == "serve") command.options.push_back(*config);
  }
  text.options.erase(config);
  return text;
}

}  // namespace korvane::manual
