#pragma once

#include <optional>
#include <string>

#include <Poco/Net/ServerSocket.h>

namespace korvane::tools {

/// The address that `listen` means. Throws std::runtime_error "cannot listen on "<listen>":
/// expected an address and a port, such as 127.0.0.1:8420 (…)".
Poco::Net::SocketAddress parse_address(const std::string& listen);

/// A socket that listens on `address`. Throws std::runtime_error "cannot listen on <address>: …".
Poco::Net::ServerSocket listen_on(const Poco::Net::SocketAddress& address);

/// The socket that this process was started with under the number `descriptor`, and owns from now
/// on. Throws std::runtime_error if it is not one that listens for TCP.
Poco::Net::ServerSocket inherited_socket(int descriptor);

}  // namespace korvane::tools
