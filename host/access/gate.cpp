#include "host/access/gate.h"

#include <algorithm>
#include <utility>

#include <Poco/Net/IPAddress.h>
#include <Poco/String.h>

#include "host/text/shortened.h"

namespace korvane::host {

namespace {

/// The host of "host:port", "[::1]:8080" or "host", without brackets; empty for anything else.
std::string name_of(const std::string& host) {
  const std::size_t end = host.starts_with('[') ? host.find(']') : host.find(':');
  const std::size_t begin = host.starts_with('[') ? 1 : 0;
  if (begin == 1 && end == host.npos) return {};
  const std::string port = end == host.npos ? "" : host.substr(end + begin);
  const bool is_port = port.empty() || (port.size() > 1 && port[0] == ':' &&
                                        port.find_first_not_of("0123456789", 1) == port.npos);
  return is_port ? host.substr(begin, end - begin) : "";
}

bool is_address(const std::string& name) {
  Poco::Net::IPAddress address;
  return Poco::Net::IPAddress::tryParse(name, address);
}

/// Longer names are cut in a refusal, which anybody can have made as often as they want.
constexpr std::size_t kLongestQuote = 120;

const std::vector<std::pair<std::string, std::string>> kAskForToken = {
    {"WWW-Authenticate", "Bearer realm=\"korvane\""}};

}  // namespace

Gate::Gate(std::optional<Tokens> tokens, std::vector<std::string> host_names)
    : tokens_(std::move(tokens)), host_names_(std::move(host_names)) {}

bool Gate::is_own_name(const std::string& host) const {
  const std::string name = name_of(host);
  const auto is_it = [&](const std::string& own) { return Poco::icompare(own, name) == 0; };
  return Poco::icompare(name, "localhost") == 0 || is_address(name) ||
         std::any_of(host_names_.begin(), host_names_.end(), is_it);
}

void Gate::refuse_other_sites(const HttpRequest& request) const {
  const std::string host = request.head.getHost();
  if (!is_own_name(host)) {
    throw HttpFault(421, "\"" + shortened(host, kLongestQuote) +
                             "\" is not a name of this server; --host-name adds one");
  }
  const std::string site = request.head.get("Sec-Fetch-Site", "none");
  const std::string own_origin = (request.is_encrypted ? "https://" : "http://") + host;
  const std::string origin = request.head.get("Origin", own_origin);
  // Before a proxy with TLS the page's origin is another than it is here, and only the browser knows
  // that they are one.
  const bool is_own = Poco::icompare(origin, own_origin) == 0 ||
                      (site == "same-origin" && Poco::icompare(origin, "https://" + host) == 0);
  if (!is_own) {
    throw HttpFault(
        403, "cross-site requests from \"" + shortened(origin, kLongestQuote) + "\" are refused");
  }
  if (site != "none" && site != "same-origin") {
    throw HttpFault(problem("cross-site"), "cross-site requests are refused");
  }
}

Client Gate::client(const HttpRequest& request) const {
  if (!tokens_) {
    return {address_of(request), all_scopes()};
  }
  const std::string credentials = request.head.get("Authorization", "");
  const std::string scheme = "bearer ";
  if (Poco::toLower(credentials.substr(0, scheme.size())) != scheme) {
    throw HttpFault(401, "expected a bearer token in the field Authorization", kAskForToken);
  }
  const std::optional<Client> client = tokens_->find(Poco::trim(credentials.substr(scheme.size())));
  if (!client) throw HttpFault(401, "no such token", kAskForToken);
  return *client;
}

std::string address_of(const HttpRequest& request) {
  return request.peer.substr(0, request.peer.rfind(':'));
}

void require_scope(const Client& client, const Scopes& scopes) {
  std::string names;
  for (const Scope scope : scopes) {
    if (client.scopes.count(scope) != 0) return;
    names += (names.empty() ? "" : " or ") + std::string(scope_name(scope));
  }
  throw HttpFault(403, "the token of \"" + client.name + "\" lacks the scope " + names,
                  {{"WWW-Authenticate", "Bearer realm=\"korvane\", error=\"insufficient_scope\""}});
}

}  // namespace korvane::host
