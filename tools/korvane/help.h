#pragma once

#include <cstddef>
#include <string>

#include <CLI/CLI.hpp>

namespace korvane::tools {

/// `text` with line ends in place of blanks, so that only a line of one long word is longer than
/// `width` characters.
std::string wrapped(const std::string& text, std::size_t width);

/// Help whose descriptions fit a terminal of 80 columns.
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_description(const CLI::App* command) const override;
  std::string make_subcommand(const CLI::App* command) const override;
  /// Without the variable of the environment, which the command's last lines tell of for all.
  std::string make_option_opts(const CLI::Option* option) const override;
  std::string make_option_desc(const CLI::Option* option) const override;
  /// Lines that begin with a blank are examples, and stay as they are.
  std::string make_footer(const CLI::App* command) const override;

 private:
  std::string description(const std::string& text) const;
};

}  // namespace korvane::tools
