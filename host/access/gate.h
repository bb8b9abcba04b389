#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/access/tokens.h"
#include "host/http/message.h"

namespace korvane::host {

/// Who may come in. Immutable: any number of threads may use one at a time.
class Gate {
 public:
  /// Without `tokens` every client may do everything. `host_names` are names of this server beside
  /// "localhost" and every IP address.
  Gate(std::optional<Tokens> tokens, std::vector<std::string> host_names);

  /// Refuses cross-site requests of browsers: HttpFault 421 for a Host that is not
  /// a name of this server (DNS rebinding), 403 for an Origin or a Sec-Fetch-Site of another site.
  void refuse_other_sites(const HttpRequest& request) const;

  /// The client that the request's bearer token belongs to. Throws HttpFault 401 without one.
  Client client(const HttpRequest& request) const;

 private:
  bool is_own_name(const std::string& host) const;

  std::optional<Tokens> tokens_;
  std::vector<std::string> host_names_;
};

/// The address of the request's other end, without its port.
std::string address_of(const HttpRequest& request);

/// Throws HttpFault 403 unless the client's token has one of `scopes`.
void require_scope(const Client& client, const Scopes& scopes);

}  // namespace korvane::host
