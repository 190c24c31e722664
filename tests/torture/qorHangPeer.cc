// SPDX-License-Identifier: Apache-2.0
#include "tests/torture/qorHangPeer.h"

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "tests/support/qorLoopback.h"
#include "tests/torture/qorResponder.h"

namespace orvix::torture {

namespace {

constexpr int SMALL = 4096;    // the receive buffer of a peer that does not read
constexpr int MEDIUM = 65536;  // of one that reads slowly: 16 KiB, then a pause
constexpr int TICK = 1;        // that pause, in milliseconds
constexpr int LIFE = 3000;     // milliseconds of silence, after which even this peer closes
constexpr int AT_STOP_ONLY = -1;

}  // namespace

HangPeer::HangPeer(HangPlan plan)
    : plan_(std::move(plan)), listener_(test::listenOnLoopback(plan_.connects ? 4 : 0, port_)) {
  if (!plan_.connects) fillQueue();
  if (plan_.reading != HangPlan::Reading::ALL) {
    const int size = plan_.reading == HangPlan::Reading::SLOWLY ? MEDIUM : SMALL;
    ::setsockopt(listener_, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
  }
  if (::pipe2(stop_, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category());
  thread_ = std::thread([this] { play(); });
}

HangPeer::~HangPeer() {
  ::close(stop_[1]);
  thread_.join();
  ::close(stop_[0]);
  for (const int descriptor : queued_) ::close(descriptor);
  ::close(listener_);
}

/// True when the time has passed, false when the peer is to end.
bool HangPeer::pause(int milliseconds) {
  pollfd polled{stop_[0], POLLIN, 0};
  return ::poll(&polled, 1, milliseconds) == 0;
}

void HangPeer::play() {
  if (!plan_.accepts || !plan_.connects) {
    if (pause(LIFE)) ::shutdown(listener_, SHUT_RDWR);
    return;
  }
  pollfd either[] = {{listener_, POLLIN, 0}, {stop_[0], POLLIN, 0}};
  if (::poll(either, 2, AT_STOP_ONLY) < 0 || either[0].revents == 0) return;
  const int descriptor = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (descriptor < 0) return;
  const int on = 1;
  ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  char buffer[MEDIUM / 4];
  if (plan_.reading == HangPlan::Reading::ALL) {
    either[0].fd = descriptor;
    ::poll(either, 2, AT_STOP_ONLY);
    while (::recv(descriptor, buffer, sizeof buffer, 0) > 0) {
    }
  }
  bool going = sendAll(descriptor, plan_.first);
  for (const char& byte : plan_.trickled) {
    going = going && pause(plan_.pause) && sendAll(descriptor, {&byte, 1});
  }
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(LIFE);
  for (std::size_t at = 0;
       going && !plan_.endless.empty() && std::chrono::steady_clock::now() < end;) {
    const std::string_view rest = std::string_view(plan_.endless).substr(at);
    const ssize_t sent = ::send(descriptor, rest.data(), rest.size(), MSG_NOSIGNAL);
    if (sent > 0) at = (at + static_cast<std::size_t>(sent)) % plan_.endless.size();
    going = (sent > 0 || errno == EAGAIN) && pause(sent > 0 ? 0 : 1);
  }
  while (going && plan_.reading == HangPlan::Reading::SLOWLY) {
    going = ::recv(descriptor, buffer, sizeof buffer, 0) != 0 && pause(TICK);
  }
  pause(LIFE);
  ::close(descriptor);
}

void HangPeer::fillQueue() {
  for (int& descriptor : queued_) {
    descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    // In progress, or in the queue, or refused for lack of room in it: poll() gives it time.
    static_cast<void>(test::connectToLoopback(descriptor, port_));
    pollfd polled{descriptor, POLLOUT, 0};
    ::poll(&polled, 1, 5);
  }
}

}  // namespace orvix::torture
