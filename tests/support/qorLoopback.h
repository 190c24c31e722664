// SPDX-License-Identifier: Apache-2.0
// Sockets on the loopback interface, for peers and clients that a test drives itself. Knows nothing
// of the library.
#pragma once

#include <cerrno>
#include <cstdint>
#include <netinet/in.h>
#include <sys/socket.h>
#include <system_error>

namespace orvix::test {

/// Port 0: any that is free.
inline sockaddr_in loopbackAddress(unsigned int port = 0) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

/// Whether the connection stands; without one errno says why.
inline bool connectToLoopback(int descriptor, unsigned int port) {
  const sockaddr_in address = loopbackAddress(port);
  return ::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

/// A listening socket on a free port. Throws std::system_error.
inline int listenOnLoopback(int backlog, unsigned int& port, int flags = 0) {
  const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | flags, 0);
  sockaddr_in address = loopbackAddress();
  socklen_t size = sizeof address;
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  if (listener < 0 || ::bind(listener, generic, size) != 0 || ::listen(listener, backlog) != 0 ||
      ::getsockname(listener, generic, &size) != 0) {
    throw std::system_error(errno, std::generic_category(), "listening on loopback");
  }
  port = ntohs(address.sin_port);
  return listener;
}

}  // namespace orvix::test
