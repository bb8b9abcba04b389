#pragma once

#include <array>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace korvane::test {

/// The socket on which a service manager hears from its services.
class NotifySocket {
 public:
  NotifySocket() : socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(static_cast<char*>(address.sun_path), path().c_str(),
                 sizeof(address.sun_path) - 1);
    EXPECT_EQ(::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    const timeval patience{20, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
  }
  NotifySocket(const NotifySocket&) = delete;
  NotifySocket& operator=(const NotifySocket&) = delete;
  ~NotifySocket() { ::close(socket_); }

  std::string path() const { return folder_.file("notify"); }

  /// The next message; empty when none has come in twenty seconds.
  std::string next() { return read(0); }

  /// The next message if it is there already.
  std::string already() { return read(MSG_DONTWAIT); }

 private:
  std::string read(int flags) {
    std::array<char, 4096> text{};
    const ssize_t size = ::recv(socket_, text.data(), text.size(), flags);
    return size < 0 ? "" : std::string(text.data(), static_cast<std::size_t>(size));
  }

  TemporaryFolder folder_;
  int socket_;
};

}  // namespace korvane::test
