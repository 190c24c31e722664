// SPDX-License-Identifier: Apache-2.0
#include "tests/support/qorScriptedPeer.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <linux/sockios.h>
#include <linux/tcp.h>  // newer than the C library's: it knows the count of data segments
#include <netinet/in.h>
#include <poll.h>
#include <string_view>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/support/qorLoopback.h"
#include "tests/support/qorWire.h"

namespace orvix::test {

namespace {

using Clock = std::chrono::steady_clock;
constexpr int PATIENCE_MS = 10000;
constexpr std::chrono::milliseconds PATIENCE{PATIENCE_MS};

int localPort(int descriptor) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  const bool named = ::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) == 0;
  return named && address.sin_family == AF_INET ? ntohs(address.sin_port) : -1;
}

/// The client's end; the client lives in this process. Nobody's when it has closed it.
int clientDescriptor(int clientPort) {
  int descriptor = 3;
  while (descriptor < 1024 && localPort(descriptor) != clientPort) ++descriptor;
  return descriptor;
}

bool holdsBytes(int descriptor, unsigned long queue) {
  int bytes = 0;
  return ::ioctl(descriptor, queue, &bytes) == 0 && bytes > 0;
}

}  // namespace

ScriptedPeer::ScriptedPeer()
    : listener_(listenOnLoopback(64, port_, SOCK_NONBLOCK)),
      wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  thread_ = std::thread([this] { run(); });
}

ScriptedPeer::~ScriptedPeer() {
  stop();
  ::close(wake_);
}

PeerScript& ScriptedPeer::connection() {
  const std::scoped_lock lock(mutex_);
  return scripts_.emplace_back();
}

bool ScriptedPeer::awaitPlayed(std::size_t count) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, PATIENCE, [&] { return played_ >= count; });
}

void ScriptedPeer::stop() {
  if (!thread_.joinable()) return;
  stopping_ = true;
  ::eventfd_write(wake_, 1);
  thread_.join();
  for (Connection& connection : connections_) end(connection);
  ::close(listener_);
}

std::size_t ScriptedPeer::connections() const {
  const std::scoped_lock lock(mutex_);
  return connections_.size();
}

std::string ScriptedPeer::received(std::size_t connection) const {
  const std::scoped_lock lock(mutex_);
  return connection < connections_.size() ? connections_[connection].received : std::string();
}

unsigned int ScriptedPeer::segments(std::size_t connection) {
  std::unique_lock lock(mutex_);
  const auto accepted = [&] { return connections_.size() > connection; };
  if (!changed_.wait_for(lock, PATIENCE, accepted)) return 0;
  const Connection& asked = connections_[connection];
  const int client = clientDescriptor(asked.clientPort);
  while (holdsBytes(client, SIOCOUTQ)) std::this_thread::yield();
  tcp_info info{};
  socklen_t size = sizeof info;
  ::getsockopt(asked.descriptor, IPPROTO_TCP, TCP_INFO, &info, &size);
  return info.tcpi_data_segs_in;
}

/// Serves whatever is ready; when it is told to stop, only until nothing is ready any more.
void ScriptedPeer::run() {
  for (;;) {
    std::vector<pollfd> polled{{listener_, POLLIN, 0}, {stopping_ ? -1 : wake_, POLLIN, 0}};
    for (const Connection& connection : connections_) {
      polled.push_back({connection.watched ? connection.descriptor : -1, POLLIN, 0});
    }
    const int ready = ::poll(polled.data(), polled.size(), stopping_ ? 0 : PATIENCE_MS);
    if (ready == 0 && stopping_) return;
    for (std::size_t i = 0; i + 2 < polled.size(); ++i) {
      if (polled[i + 2].revents != 0) receiveSome(connections_[i]);
      // A client that still waits when time is up has lost its way: let it go, too.
      if (polled[i + 2].revents != 0 || ready == 0) end(connections_[i]);
    }
    if (polled[0].revents != 0) acceptOne();
  }
}

void ScriptedPeer::acceptOne() {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  const int descriptor = ::accept4(listener_, reinterpret_cast<sockaddr*>(&address), &size,
                                   SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (descriptor < 0) return;  // the client has given up already
  const int on = 1;
  ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  std::unique_lock lock(mutex_);
  Connection& accepted = connections_.emplace_back();
  accepted.descriptor = descriptor;
  accepted.clientPort = ntohs(address.sin_port);
  const std::size_t number = connections_.size() - 1;
  const PeerScript* script = number < scripts_.size() ? &scripts_[number] : nullptr;
  lock.unlock();
  changed_.notify_all();
  script != nullptr ? play(accepted, *script) : end(accepted);
}

void ScriptedPeer::play(Connection& connection, const PeerScript& script) {
  for (const PeerScript::Step& step : script.steps_) {
    if (perform(step, connection)) continue;
    if (!stopping_) end(connection);
    return;
  }
  const std::scoped_lock lock(mutex_);
  ++played_;
  changed_.notify_all();
}

void ScriptedPeer::end(Connection& connection) {
  const std::scoped_lock lock(mutex_);
  if (connection.descriptor < 0) return;
  ::close(connection.descriptor);
  connection.descriptor = -1;
}

bool ScriptedPeer::perform(const PeerScript::Step& step, Connection& connection) {
  using Step = PeerScript::Step;
  switch (step.what) {
    case Step::FRAMES:
      for (std::size_t i = 0; i < step.count; ++i) {
        if (takeFrame(connection).empty()) return false;
      }
      return true;
    case Step::QUESTION:
      for (;;) {
        const std::string_view frame = takeFrame(connection);
        if (frame.find("asyncAddDocument") == frame.npos) return !frame.empty();
      }
    case Step::CLIENT_CLOSES:
      while (receiveSome(connection)) continue;
      return true;
    case Step::SEND:
      return std::ranges::all_of(step.segments, [&](const std::string& segment) {
        return awaitDrained(connection) && send(connection, segment);
      });
    case Step::CLOSE:
      end(connection);
      return true;
    case Step::STALL:
      connection.watched = false;
      return true;
  }
  return false;
}

bool ScriptedPeer::await(const Connection& connection, short events) {
  pollfd polled[] = {{connection.descriptor, events, 0}, {stopping_ ? -1 : wake_, POLLIN, 0}};
  if (::poll(polled, 2, stopping_ ? 0 : PATIENCE_MS) <= 0) return false;
  return polled[0].revents != 0;  // what is there comes before a stop
}

/// The next whole frame of the record; empty when it does not come.
std::string_view ScriptedPeer::takeFrame(Connection& connection) {
  for (;;) {
    const std::string_view rest = std::string_view(connection.received).substr(connection.taken);
    const std::size_t length = frameLength(rest);
    connection.taken += length;
    if (length != 0) return rest.substr(0, length);
    if (!receiveSome(connection)) return {};
  }
}

/// One receive into the record.
bool ScriptedPeer::receiveSome(Connection& connection) {
  char bytes[65536];
  if (connection.descriptor < 0 || !await(connection, POLLIN)) return false;
  const ssize_t got = ::recv(connection.descriptor, bytes, sizeof bytes, 0);
  if (got <= 0) return false;
  const std::scoped_lock lock(mutex_);
  connection.received.append(bytes, static_cast<std::size_t>(got));
  return true;
}

/// Waits until the client has received everything that was sent.
bool ScriptedPeer::awaitDrained(const Connection& connection) {
  const int client = clientDescriptor(connection.clientPort);
  const auto limit = Clock::now() + PATIENCE;
  pollfd gone{connection.descriptor, POLLRDHUP, 0};
  while (holdsBytes(connection.descriptor, SIOCOUTQ) || holdsBytes(client, FIONREAD)) {
    if (stopping_ || Clock::now() > limit || ::poll(&gone, 1, 0) != 0) return false;
    std::this_thread::yield();
  }
  return true;
}

bool ScriptedPeer::send(const Connection& connection, const std::string& bytes) {
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t sent =
        ::send(connection.descriptor, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
    if (sent > 0) {
      done += static_cast<std::size_t>(sent);
    } else if (errno != EAGAIN || !await(connection, POLLOUT)) {
      return false;
    }
  }
  return true;
}

}  // namespace orvix::test
