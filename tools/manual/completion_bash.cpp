#include <functional>
#include <string>
#include <vector>

#include "tools/manual/completion.h"

namespace korvane::manual {

namespace {

/// Calls `visit` for the program and all commands below it.
void each_command(const CommandText& command,
                  const std::function<void(const CommandText&)>& visit) {
  visit(command);
  for (const CommandText& sub : command.commands) each_command(sub, visit);
}

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

/// A case of the function that says what the word after an option may be.
std::string value_case(const CommandText& command, const OptionText& option) {
  if (option.value.empty()) return "";
  const std::string names =
      "'" + command.name + " " + option.name + "'" +
      (option.short_name.empty() ? "" : " | '" + command.name + " " + option.short_name + "'");
  const std::string kind = option.is_folder         ? "folder"
                           : option.choices.empty() ? "file"
                                                    : "words " + joined(option.choices);
  return "    " + names + ") echo '" + kind + "' ;;\n";
}

constexpr const char* kFunctions = R"bash(# Completes the word at the cursor.
_korvane() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  local command=korvane next kind='' index
  # The command of the words before: options and their values are not among its words.
  for ((index = 1; index < COMP_CWORD; ++index)); do
    next=${COMP_WORDS[index]}
    if [[ $next == -* ]]; then
      [[ -z $(_korvane_value "$command" "$next") ]] || ((++index))
    elif [[ -n $(_korvane_options "$command $next") ]]; then
      command="$command $next"
    fi
  done
  if [[ $before == -* ]]; then kind=$(_korvane_value "$command" "$before"); fi
  COMPREPLY=()
  case $kind in
    words\ *) mapfile -t COMPREPLY < <(compgen -W "${kind#words }" -- "$word") ;;
    folder) mapfile -t COMPREPLY < <(compgen -d -- "$word") ;;
    file) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
    *)
      local commands
      commands=$(_korvane_commands "$command")
      if [[ $word == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(_korvane_options "$command")" -- "$word")
      elif [[ -n $commands ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$word")
      else
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
      fi
      ;;
  esac
}

complete -o filenames -F _korvane korvane
)bash";

}  // namespace

std::string bash_completion(const CommandText& program) {
  std::string options;
  std::string commands;
  std::string values;
  each_command(program, [&](const CommandText& command) {
    std::vector<std::string> names;
    const auto add = [&](const OptionText& option) {
      names.push_back(option.name);
      if (!option.short_name.empty()) names.push_back(option.short_name);
      values += value_case(command, option);
    };
    for (const OptionText& option : command.options) add(option);
    // Those of the program may stand behind every command.
    if (&command != &program) {
      for (const OptionText& option : program.options) {
        if (option.name == "--help" || option.name == "--version") continue;
        add(option);
      }
    }
    options += "    '" + command.name + "') echo '" + joined(names) + "' ;;\n";
    if (command.commands.empty()) return;
    std::vector<std::string> words;
    for (const CommandText& sub : command.commands) words.push_back(sub.word());
    commands += "    '" + command.name + "') echo '" + joined(words) + "' ;;\n";
  });
  return "# Completion of korvane in bash. Made from the descriptions of the commands; don't "
         "edit.\n\n"
         "_korvane_options() {\n  case $1 in\n" +
         options +
         "  esac\n}\n\n"
         "_korvane_commands() {\n  case $1 in\n" +
         commands +
         "  esac\n}\n\n"
         "# What may stand behind the option $2 of the command $1; nothing if it takes no value.\n"
         "_korvane_value() {\n  case \"$1 $2\" in\n" +
         values + "  esac\n}\n\n" + kFunctions;
}

}  // namespace korvane::manual
