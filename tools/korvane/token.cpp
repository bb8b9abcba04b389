#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "host/access/tokens.h"
#include "tools/korvane/commands.h"
#include "tools/korvane/standard_output.h"
#include "tools/korvane/terminal_text.h"

namespace korvane::tools {

namespace {

struct TokenOptions {
  std::string file;
  std::string client;
  std::vector<std::string> scopes;
};

void make_token(const TokenOptions& options) {
  host::Scopes scopes;
  for (const std::string& name : options.scopes) scopes.insert(host::scope_of(name).value());
  host::TokenFile file(options.file);
  std::cout << file.add(options.client, scopes) << '\n';
  try {
    require_output();
  } catch (const std::exception&) {
    // Nobody has seen it, and nobody can any more.
    file.remove(options.client);
    throw;
  }
  std::cerr << "made a token for \"" << options.client << "\"; it is not shown again\n";
}

void remove_token(const TokenOptions& options) {
  host::TokenFile(options.file).remove(options.client);
}

void list_tokens(const TokenOptions& options) {
  for (const auto& entry : host::TokenFile(options.file).list()) {
    std::cout << printable(entry.client.name);
    for (const host::Scope scope : entry.client.scopes) {
      std::cout << ' ' << host::scope_name(scope);
    }
    std::cout << ' ' << entry.created << '\n';
  }
  require_output();
}

void add_file_option(CLI::App& command, TokenOptions& options) {
  command.add_option("--tokens", options.file, "The file of tokens")->required();
}

void add_client_option(CLI::App& command, TokenOptions& options) {
  command.add_option("CLIENT", options.client, "Name of the client")->required();
}

CLI::App* add_adding(CLI::App& token, TokenOptions& options) {
  CLI::App* const command =
      token.add_subcommand("add", "Make a token for a client and print it, once");
  add_file_option(*command, options);
  add_client_option(*command, options);
  std::vector<std::string> names;
  for (const host::Scope scope : host::all_scopes()) names.emplace_back(host::scope_name(scope));
  command->add_option("--scope", options.scopes, "What the client may do")
      ->required()
      ->check(CLI::IsMember(names));
  command->footer("Example:\n  korvane token add --tokens tokens.json office --scope read write");
  return command;
}

CLI::App* add_removal(CLI::App& token, TokenOptions& options) {
  CLI::App* const command = token.add_subcommand("remove", "Remove the token of a client");
  add_file_option(*command, options);
  add_client_option(*command, options);
  command->footer("Example:\n  korvane token remove --tokens tokens.json office");
  return command;
}

CLI::App* add_listing(CLI::App& token, TokenOptions& options) {
  CLI::App* const command = token.add_subcommand("list", "Print the clients and their scopes");
  add_file_option(*command, options);
  command->footer("Example:\n  korvane token list --tokens tokens.json");
  return command;
}

}  // namespace

Command add_token(CLI::App& program) {
  const auto options = std::make_shared<TokenOptions>();
  CLI::App* const token = program.add_subcommand("token", "Make and remove the tokens of a server");
  token->require_subcommand(1);
  const CLI::App* const adding = add_adding(*token, *options);
  const CLI::App* const removal = add_removal(*token, *options);
  const CLI::App* const listing = add_listing(*token, *options);
  token->footer("Example:\n  korvane token add --tokens tokens.json office --scope read write");
  return {token, [=](const CommonOptions&) {
            if (adding->parsed()) make_token(*options);
            if (removal->parsed()) remove_token(*options);
            if (listing->parsed()) list_tokens(*options);
            return kDone;
          }};
}

}  // namespace korvane::tools
