#include "tools/manual/man_page.h"

#include <algorithm>
#include <cctype>
#include <string_view>
#include <utility>

#include "tools/korvane/exit_codes.h"
#include "tools/manual/option_file.h"

namespace korvane::manual {

namespace {

std::string upper(std::string text) {
  for (char& letter : text) {
    letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
  }
  return text;
}

/// "korvane token" has the page korvane-token(1).
std::string page_name(const std::string& command) {
  std::string name = command;
  std::replace(name.begin(), name.end(), ' ', '-');
  return name;
}

/// Text for roff: nothing in it is a request, and a dash is the one that is typed.
std::string escaped(std::string_view text) {
  std::string result;
  for (const char letter : text) {
    if (letter == '\\') {
      result += "\\e";
    } else if (letter == '-') {
      result += "\\-";
    } else if (letter == '\n') {
      result += ' ';
    } else {
      result += letter;
    }
  }
  return result.starts_with('.') || result.starts_with('\'') ? "\\&" + result : result;
}

/// Writes a page from its head on.
class Writer {
 public:
  Writer(const std::string& name, const std::string& section, const std::string& version,
         const std::string& text) {
    line(".\\\" Made from the descriptions of the commands; don't edit.");
    line(".TH " + upper(escaped(name)) + " " + section + " \"\" \"korvane " + version +
         "\" \"korvane\"");
    head("NAME");
    std::string short_text = text;
    if (short_text.ends_with('.')) short_text.pop_back();
    line(escaped(name) + " \\- " + escaped(short_text));
  }

  void head(const std::string& text) { line(".SH " + text); }
  void below(const std::string& text) { line(".SS " + escaped(text)); }
  void paragraph(const std::string& text) {
    line(".PP");
    line(escaped(text));
  }
  /// `term` may have requests for letters in it.
  void item(const std::string& term, const std::string& text) {
    line(".TP");
    line(term);
    line(text.empty() ? "\\&" : escaped(text));
  }
  void typed(const std::vector<std::string>& lines) {
    line(".nf");
    line(".RS");
    for (const std::string& one : lines) line(escaped(one));
    line(".RE");
    line(".fi");
  }

  std::string text() && { return std::move(text_); }

  void line(const std::string& text) { text_ += text + "\n"; }

 private:
  std::string text_;
};

std::string bold(const std::string& text) { return "\\fB" + escaped(text) + "\\fR"; }
std::string slanted(const std::string& text) { return "\\fI" + escaped(text) + "\\fR"; }

std::string value_of(const OptionText& option) {
  if (option.value.empty()) return "";
  std::string values = slanted(option.value);
  if (!option.choices.empty()) {
    values.clear();
    for (const std::string& choice : option.choices) {
      values += (values.empty() ? "" : "|") + bold(choice);
    }
  }
  return " " + values + (option.is_repeatable ? "..." : "");
}

std::string usage(const CommandText& command) {
  std::string text = bold(command.name) + " [" + slanted("OPTION") + "...]";
  for (const OptionText& option : command.options) {
    if (option.is_required) text += " " + bold(option.name) + value_of(option);
  }
  for (const OptionText& argument : command.arguments) {
    const std::string name = slanted(argument.name) + (argument.is_repeatable ? "..." : "");
    text += " " + (argument.is_required ? name : "[" + name + "]");
  }
  if (!command.commands.empty()) text += " " + slanted("COMMAND") + " ...";
  return text;
}

void write_options(Writer& page, const CommandText& command) {
  for (const OptionText& argument : command.arguments) {
    page.item(slanted(argument.name) + (argument.is_repeatable ? "..." : ""), argument.text);
  }
  for (const OptionText& option : command.options) {
    const std::string others = option.short_name.empty() ? "" : bold(option.short_name) + ", ";
    std::string text = option.text;
    if (!text.empty() && !text.ends_with('.')) text += '.';
    if (option.is_required) text += " Required.";
    if (!option.standard.empty()) text += " Default: " + option.standard;
    page.item(others + bold(option.name) + value_of(option), text);
  }
}

void write_rest(Writer& page, const CommandText& command) {
  for (const std::string& paragraph : command.paragraphs) page.paragraph(paragraph);
}

void write_environment(Writer& page, const CommandText& command) {
  const auto has_variable = [](const OptionText& option) { return !option.variable.empty(); };
  if (std::none_of(command.options.begin(), command.options.end(), has_variable)) return;
  page.head("ENVIRONMENT");
  for (const OptionText& option : command.options) {
    if (has_variable(option)) page.item(bold(option.variable), "As " + option.name + ".");
  }
}

void write_examples(Writer& page, const CommandText& command) {
  if (command.examples.empty()) return;
  page.head("EXAMPLES");
  page.typed(command.examples);
}

void write_exit_codes(Writer& page) {
  page.head("EXIT STATUS");
  page.item(std::to_string(tools::kDone), "Done.");
  page.item(std::to_string(tools::kFailed), "Failed.");
  page.item(std::to_string(tools::kWrongUsage), "Wrong usage.");
  page.item(std::to_string(tools::kDonePart), "Done in part; what was left out is named.");
  page.paragraph(
      "compare ends as diff(1) does: 0 for the same, 1 for different, 2 if it has failed.");
}

ManPage program_page(const CommandText& program, const std::string& version) {
  Writer page(program.name, "1", version, "reinforcement data of structural CAD projects");
  page.head("SYNOPSIS");
  page.line(usage(program));
  page.head("DESCRIPTION");
  page.line(escaped(program.text));
  page.head("COMMANDS");
  for (const CommandText& command : program.commands) {
    page.item(bold(page_name(command.name)) + "(1)", command.text);
  }
  page.head("OPTIONS");
  write_options(page, program);
  write_rest(page, program);
  write_exit_codes(page);
  write_examples(page, program);
  page.head("SEE ALSO");
  page.line("\\fBkorvane.conf\\fR(5)");
  return {program.name + ".1", std::move(page).text()};
}

ManPage command_page(const CommandText& command, const std::string& version) {
  const std::string name = page_name(command.name);
  Writer page(name, "1", version, command.text);
  page.head("SYNOPSIS");
  if (command.commands.empty()) page.line(usage(command));
  for (const CommandText& sub : command.commands) {
    if (&sub != &command.commands.front()) page.line(".br");
    page.line(usage(sub));
  }
  page.head("DESCRIPTION");
  page.line(escaped(command.text + "."));
  write_rest(page, command);
  page.head("OPTIONS");
  write_options(page, command);
  for (const CommandText& sub : command.commands) {
    page.below(sub.name);
    page.line(escaped(sub.text + "."));
    write_options(page, sub);
    write_rest(page, sub);
  }
  write_environment(page, command);
  write_exit_codes(page);
  write_examples(page, command);
  page.head("SEE ALSO");
  page.line("\\fBkorvane\\fR(1)");
  if (command.word() == "serve") page.line("\\fBkorvane.conf\\fR(5)");
  return {name + ".1", std::move(page).text()};
}

ManPage file_page(const CommandText& serve, const std::string& version) {
  Writer page("korvane.conf", "5", version, "options of the korvane server");
  page.head("SYNOPSIS");
  page.line("\\fI/etc/korvane/korvane.conf\\fR");
  page.head("DESCRIPTION");
  page.line(
      "The options of \\fBkorvane\\-serve\\fR(1), one a line: a name, an equals sign and a value.");
  page.paragraph(
      "Text stands in quotation marks, several values in brackets with commas between them; an "
      "option without a value is true or false. Lines that begin with # are comments, and so is "
      "what follows a # in a line. A name that is not an option is an error, and so is a value "
      "that "
      "does not fit.");
  page.paragraph(
      "An option of the command line or a variable of the environment counts before the file. The "
      "file is read when the server starts, and not when it is reloaded.");
  page.head("OPTIONS");
  for (const OptionText& option : file_options(serve)) {
    page.item(
        bold(option.name) + " = " + (option.value.empty() ? "true|false" : slanted(option.value)),
        option.text + (option.standard.empty() ? "." : ". Default: " + option.standard));
  }
  page.head("SEE ALSO");
  page.line("\\fBkorvane\\-serve\\fR(1)");
  return {"korvane.conf.5", std::move(page).text()};
}

}  // namespace

std::vector<ManPage> man_pages(const CommandText& program, const std::string& version) {
  std::vector<ManPage> pages{program_page(program, version)};
  for (const CommandText& command : program.commands) {
    pages.push_back(command_page(command, version));
    if (command.word() == "serve") pages.push_back(file_page(command, version));
  }
  return pages;
}

}  // namespace korvane::manual
