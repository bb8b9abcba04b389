#include "tools/korvane/listening_socket.h"

#include <stdexcept>
#include <sys/socket.h>

#include <Poco/Exception.h>
#include <Poco/Net/ServerSocketImpl.h>

namespace korvane::tools {

using Poco::Net::ServerSocket;
using Poco::Net::SocketAddress;

namespace {

/// Poco makes server sockets of its own only, except by these two doors for derived classes.
class InheritedImpl : public Poco::Net::ServerSocketImpl {
 public:
  explicit InheritedImpl(int descriptor) { reset(descriptor); }
};

class Inherited : public ServerSocket {
 public:
  explicit Inherited(int descriptor) : ServerSocket(new InheritedImpl(descriptor), true) {}
};

bool listens_for_tcp(int descriptor) {
  const auto option = [&](int name) {
    int value = -1;
    socklen_t size = sizeof(value);
    return ::getsockopt(descriptor, SOL_SOCKET, name, &value, &size) == 0 ? value : -1;
  };
  const int family = option(SO_DOMAIN);
  return (family == AF_INET || family == AF_INET6) && option(SO_TYPE) == SOCK_STREAM &&
         option(SO_ACCEPTCONN) == 1;
}

}  // namespace

SocketAddress parse_address(const std::string& listen) {
  try {
    return SocketAddress(listen);
  } catch (const Poco::Exception& failure) {
    throw std::runtime_error("cannot listen on \"" + listen +
                             "\": expected an address and a port, such as 127.0.0.1:8420 (" +
                             failure.displayText() + ")");
  }
}

ServerSocket listen_on(const SocketAddress& address) {
  constexpr int kBacklog = 4096;
  try {
    ServerSocket socket;
    // Left to itself, Poco lets a second server listen on the same port.
    socket.bind(address, true, false);
    socket.listen(kBacklog);
    return socket;
  } catch (const Poco::Exception& failure) {
    throw std::runtime_error("cannot listen on " + address.toString() + ": " +
                             failure.displayText());
  }
}

ServerSocket inherited_socket(int descriptor) {
  if (!listens_for_tcp(descriptor)) {
    throw std::runtime_error(
        "the socket that the server was started with cannot be used: expected one that listens "
        "for TCP, such as ListenStream=127.0.0.1:8420");
  }
  return Inherited(descriptor);
}

}  // namespace korvane::tools
