// SPDX-License-Identifier: Apache-2.0
// One thread for the one connection: a large request fills the socket's buffers, so somebody has to
// read while it is written.
#include "cli/qorCtlCapture.h"

#include <arpa/inet.h>
#include <array>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

#include "cli/qorCtlExit.h"

namespace orvix::ctl {

CaptureSocket::CaptureSocket() {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (listener_ < 0 || ::bind(listener_, generic, size) != 0 || ::listen(listener_, 1) != 0 ||
      ::getsockname(listener_, generic, &size) != 0) {
    if (listener_ >= 0) ::close(listener_);
    throw CtlFailure(ExitCode::INTERNAL, "the loopback address cannot be listened on");
  }
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this] { serve(); });
}

CaptureSocket::~CaptureSocket() {
  ::shutdown(listener_, SHUT_RDWR);  // ends a wait for a client that never came
  if (thread_.joinable()) thread_.join();
  ::close(listener_);
}

std::string CaptureSocket::takeBytes() {
  thread_.join();
  return std::move(bytes_);
}

void CaptureSocket::serve() {
  pollfd polled{listener_, POLLIN, 0};
  if (::poll(&polled, 1, TIME_OUT_SECONDS * 1000) <= 0) return;
  const int connection = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
  if (connection < 0) return;
  ::shutdown(connection, SHUT_WR);
  readAll(connection);
  ::close(connection);
}

void CaptureSocket::readAll(int connection) {
  const timeval limit{TIME_OUT_SECONDS, 0};
  ::setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  std::array<char, 65536> buffer;
  for (;;) {
    const ssize_t got = ::recv(connection, buffer.data(), buffer.size(), 0);
    if (got <= 0) return;
    bytes_.append(buffer.data(), static_cast<std::size_t>(got));
  }
}

}  // namespace orvix::ctl
