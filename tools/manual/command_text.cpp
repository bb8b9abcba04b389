#include "tools/manual/command_text.h"

#include <sstream>
#include <utility>

namespace korvane::manual {

namespace {

/// "TEXT:{csv,json}" has choices; "TEXT:FILE" the word that says more.
void read_type(const std::string& type, OptionText& option) {
  const auto open = type.find('{');
  if (open != std::string::npos) {
    std::istringstream choices(type.substr(open + 1, type.find('}', open) - open - 1));
    for (std::string one; std::getline(choices, one, ',');) option.choices.push_back(one);
  }
  const std::string value = type.substr(0, open);
  option.is_folder = value.find("DIR") != std::string::npos;
  option.value = option.is_folder ? "FOLDER" : value.substr(0, value.find(':'));
  if (option.value == "TEXT") option.value = "VALUE";
  if (option.value == "UINT" || option.value == "FLOAT" || option.value == "INT") {
    option.value = "NUMBER";
  }
}

OptionText option_text(const CLI::Option& option) {
  OptionText text;
  text.is_argument = option.get_positional();
  text.name = text.is_argument              ? option.get_name(true)
              : option.get_lnames().empty() ? "-" + option.get_snames().front()
                                            : "--" + option.get_lnames().front();
  if (!option.get_lnames().empty() && !option.get_snames().empty()) {
    text.short_name = "-" + option.get_snames().front();
  }
  text.text = option.get_description();
  if (option.get_expected_max() != 0) read_type(option.get_type_name(), text);
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

CommandText command_text(const CLI::App& command, const std::string& name) {
  CommandText text;
  text.name = name;
  text.text = command.get_description();
  for (const CLI::Option* const option : command.get_options()) {
    OptionText one = option_text(*option);
    (one.is_argument ? text.arguments : text.options).push_back(std::move(one));
  }
  read_footer(command.get_footer(), text);
  for (const CLI::App* const sub : command.get_subcommands([](const CLI::App*) { return true; })) {
    text.commands.push_back(command_text(*sub, name + " " + sub->get_name()));
  }
  return text;
}

}  // namespace korvane::manual
