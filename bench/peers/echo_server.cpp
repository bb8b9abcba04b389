// Sends back what it receives: what a connection over the loopback takes at least. One thread for
// each connection. Prints its port, and serves until it is ended.

#include <cstdlib>
#include <iostream>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

void echo(int connection) {
  const int on = 1;
  setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  char bytes[64 * 1024];
  for (ssize_t size = 0; (size = read(connection, bytes, sizeof bytes)) > 0;) {
    if (write(connection, bytes, static_cast<std::size_t>(size)) != size) break;
  }
  close(connection);
}

}  // namespace

int main() {
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto* const any_address = reinterpret_cast<sockaddr*>(&address);
  socklen_t size = sizeof address;
  if (bind(listener, any_address, size) != 0 || listen(listener, 128) != 0 ||
      getsockname(listener, any_address, &size) != 0) {
    return EXIT_FAILURE;
  }
  std::cout << ntohs(address.sin_port) << std::endl;
  for (int connection = 0; (connection = accept(listener, nullptr, nullptr)) >= 0;) {
    std::thread(echo, connection).detach();
  }
}
