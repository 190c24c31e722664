// SPDX-License-Identifier: Apache-2.0
#include "tests/support/qorScriptedPeer.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <linux/sockios.h>
#include <linux/tcp.h>  // newer than the C library's: it knows the count of data segments
#include <netinet/in.h>
#include <poll.h>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace orvix::test {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

struct PeerScript::Connection {
  int descriptor = -1;
  int clientPort = 0;
  bool watched = false;   // its script is over: whatever comes is unexpected
  std::size_t taken = 0;  // of `received`, by the steps so far
  std::string received;
  unsigned int segments = 0;
};

namespace {

int checked(int result, const char* what) {
  if (result < 0) throw std::system_error(errno, std::generic_category(), what);
  return result;
}

int portOf(int descriptor, bool own) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  const int result =
      own ? ::getsockname(descriptor, generic, &size) : ::getpeername(descriptor, generic, &size);
  return result == 0 && address.sin_family == AF_INET ? ntohs(address.sin_port) : -1;
}

unsigned int segmentsOf(int descriptor) {
  tcp_info info{};
  socklen_t size = sizeof info;
  if (::getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &size) != 0) return 0;
  return info.tcpi_data_segs_in;
}

int queued(int descriptor, unsigned long request) {
  int bytes = 0;
  return ::ioctl(descriptor, request, &bytes) == 0 ? bytes : -1;
}

/// The client's end, when the client lives in this process; else -1.
int clientDescriptor(int peerPort, int clientPort) {
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    const int descriptor = std::atoi(entry.path().filename().c_str());
    if (portOf(descriptor, true) == clientPort && portOf(descriptor, false) == peerPort) {
      return descriptor;
    }
  }
  return -1;
}

/// Length of the first whole frame in `bytes`; 0 when it is not all there.
std::size_t frameLength(std::string_view bytes) {
  if (bytes.size() < 2) return 0;
  const std::size_t header = static_cast<std::size_t>(static_cast<unsigned char>(bytes[0])) * 256 +
                             static_cast<unsigned char>(bytes[1]);
  if (bytes.size() < 2 + header) return 0;
  constexpr std::string_view NAME = "Content-Length  : ";
  const std::string_view text = bytes.substr(2, header);
  const std::size_t at = text.find(NAME);
  const std::size_t body =
      at == std::string_view::npos
          ? 0
          : std::strtoul(std::string(text.substr(at + NAME.size(), 12)).c_str(), nullptr, 10);
  return bytes.size() < 2 + header + body ? 0 : 2 + header + body;
}

}  // namespace

PeerScript& PeerScript::expectFrames(std::size_t count) {
  steps_.push_back([count](ScriptedPeer& peer, Connection& connection) {
    for (std::size_t left = count; left != 0;) {
      const std::size_t length =
          frameLength(std::string_view(connection.received).substr(connection.taken));
      if (length != 0) {
        connection.taken += length;
        --left;
      } else if (!peer.receiveSome(connection)) {
        return false;
      }
    }
    return true;
  });
  return *this;
}

PeerScript& PeerScript::expectBytes(std::size_t count) {
  steps_.push_back([count](ScriptedPeer& peer, Connection& connection) {
    while (connection.received.size() - connection.taken < count) {
      if (!peer.receiveSome(connection)) return false;
    }
    connection.taken += count;
    return true;
  });
  return *this;
}

PeerScript& PeerScript::expectClose() {
  steps_.push_back([](ScriptedPeer& peer, Connection& connection) {
    while (peer.receiveSome(connection)) continue;
    return true;
  });
  return *this;
}

PeerScript& PeerScript::reply(std::string bytes) { return replySegments({std::move(bytes)}); }

PeerScript& PeerScript::replySegments(std::vector<std::string> segments) {
  steps_.push_back([segments = std::move(segments)](ScriptedPeer& peer, Connection& connection) {
    for (std::size_t i = 0; i < segments.size(); ++i) {
      if (i != 0 && !peer.awaitDrained(connection)) return false;
      if (!peer.send(connection, segments[i])) return false;
    }
    return true;
  });
  return *this;
}

PeerScript& PeerScript::trickle(std::string bytes, milliseconds pause) {
  steps_.push_back([bytes = std::move(bytes), pause](ScriptedPeer& peer, Connection& connection) {
    for (const char byte : bytes) {
      if (!peer.send(connection, std::string(1, byte))) return false;
      pollfd gone{connection.descriptor, POLLRDHUP, 0};
      if (::poll(&gone, 1, static_cast<int>(pause.count())) != 0 || peer.stopping_) return false;
    }
    return true;
  });
  return *this;
}

PeerScript& PeerScript::endOfFile() {
  steps_.push_back([](ScriptedPeer&, Connection& connection) {
    return ::shutdown(connection.descriptor, SHUT_WR) == 0;
  });
  return *this;
}

PeerScript& PeerScript::close() {
  steps_.push_back([](ScriptedPeer& peer, Connection& connection) {
    peer.end(connection, false);
    return true;
  });
  return *this;
}

PeerScript& PeerScript::reset() {
  steps_.push_back([](ScriptedPeer& peer, Connection& connection) {
    peer.end(connection, true);
    return true;
  });
  return *this;
}

PeerScript& PeerScript::stall() {
  steps_.push_back([](ScriptedPeer&, Connection& connection) {
    connection.watched = false;
    return true;
  });
  return *this;
}

ScriptedPeer::ScriptedPeer(int receiveBuffer) {
  listener_ = checked(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0), "socket");
  if (receiveBuffer != 0) {
    ::setsockopt(listener_, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
  }
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  checked(::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address), "bind");
  checked(::listen(listener_, 64), "listen");
  checked(::pipe2(wake_, O_CLOEXEC | O_NONBLOCK), "pipe");
  port_ = static_cast<unsigned int>(portOf(listener_, true));
  thread_ = std::thread([this] { run(); });
}

ScriptedPeer::~ScriptedPeer() {
  stop();
  ::close(wake_[0]);
  ::close(wake_[1]);
}

PeerScript& ScriptedPeer::connection() {
  const std::scoped_lock lock(mutex_);
  return scripts_.emplace_back();
}

bool ScriptedPeer::awaitAccepted(std::size_t count) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, patience, [&] { return connections_.size() >= count; });
}

bool ScriptedPeer::awaitPlayed(std::size_t count) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, patience, [&] { return played_ >= count; });
}

void ScriptedPeer::stop() {
  if (!thread_.joinable()) return;
  stopping_ = true;
  const char byte = 0;
  static_cast<void>(!::write(wake_[1], &byte, 1));
  thread_.join();
  for (const auto& connection : connections_) end(*connection, false);
  ::close(listener_);
}

std::size_t ScriptedPeer::connections() const {
  const std::scoped_lock lock(mutex_);
  return connections_.size();
}

std::size_t ScriptedPeer::unplayed() const {
  const std::scoped_lock lock(mutex_);
  return scripts_.size() - played_;
}

std::string ScriptedPeer::received(std::size_t connection) const {
  const std::scoped_lock lock(mutex_);
  return connection < connections_.size() ? connections_[connection]->received : std::string();
}

unsigned int ScriptedPeer::segments(std::size_t connection) const {
  const std::scoped_lock lock(mutex_);
  if (connection >= connections_.size()) return 0;
  const Connection& asked = *connections_[connection];
  return asked.descriptor < 0 ? asked.segments : segmentsOf(asked.descriptor);
}

/// Serves whatever is ready; when it is told to stop, only until nothing is ready any more.
void ScriptedPeer::run() {
  for (;;) {
    std::vector<pollfd> polled{{listener_, POLLIN, 0}, {stopping_ ? -1 : wake_[0], POLLIN, 0}};
    for (const auto& connection : connections_) {
      polled.push_back({connection->watched ? connection->descriptor : -1, POLLIN, 0});
    }
    const int limit = static_cast<int>(milliseconds(patience).count());
    const int ready = ::poll(polled.data(), polled.size(), stopping_ ? 0 : limit);
    if (ready == 0 && stopping_) return;
    if (ready == 0) {  // a client that still waits has lost its way: let it go
      for (const auto& connection : connections_) end(*connection, true);
    }
    for (std::size_t i = 0; i + 2 < polled.size(); ++i) {
      if (polled[i + 2].revents != 0) watch(*connections_[i]);
    }
    if (polled[0].revents != 0) acceptOne();
  }
}

void ScriptedPeer::watch(Connection& connection) {
  if (receiveSome(connection)) {
    end(connection, true);
  } else {
    end(connection, false);
  }
}

void ScriptedPeer::acceptOne() {
  const int descriptor = ::accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (descriptor < 0) return;  // the client has given up already
  const int on = 1;
  ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  Connection* accepted = nullptr;
  {
    const std::scoped_lock lock(mutex_);
    accepted = connections_.emplace_back(std::make_unique<Connection>()).get();
    accepted->descriptor = descriptor;
    accepted->clientPort = portOf(descriptor, false);
  }
  changed_.notify_all();
  play(*accepted);
}

void ScriptedPeer::play(Connection& connection) {
  PeerScript* script = nullptr;
  {
    const std::scoped_lock lock(mutex_);
    if (begun_ < scripts_.size()) script = &scripts_[begun_++];
  }
  if (script == nullptr) return end(connection, true);
  connection.watched = true;
  for (const PeerScript::Step& step : script->steps_) {
    if (!step(*this, connection)) {
      if (connection.descriptor >= 0 && !stopping_) end(connection, true);
      return;
    }
  }
  {
    const std::scoped_lock lock(mutex_);
    ++played_;
  }
  changed_.notify_all();
}

void ScriptedPeer::end(Connection& connection, bool abruptly) {
  const std::scoped_lock lock(mutex_);
  if (connection.descriptor < 0) return;
  connection.segments = segmentsOf(connection.descriptor);
  if (abruptly) {
    const linger now{1, 0};
    ::setsockopt(connection.descriptor, SOL_SOCKET, SO_LINGER, &now, sizeof now);
  }
  ::close(connection.descriptor);
  connection.descriptor = -1;
  connection.watched = false;
}

bool ScriptedPeer::await(Connection& connection, short events) {
  pollfd polled[] = {{connection.descriptor, events, 0}, {stopping_ ? -1 : wake_[0], POLLIN, 0}};
  const int limit = static_cast<int>(milliseconds(patience).count());
  if (::poll(polled, 2, stopping_ ? 0 : limit) <= 0) return false;
  return polled[0].revents != 0;  // what is there comes before a stop
}

/// One receive into the record. False at the end of the client's direction.
bool ScriptedPeer::receiveSome(Connection& connection) {
  char bytes[65536];
  if (connection.descriptor < 0 || !await(connection, POLLIN)) return false;
  const ssize_t got = ::recv(connection.descriptor, bytes, sizeof bytes, 0);
  if (got <= 0) return false;
  const std::scoped_lock lock(mutex_);
  connection.received.append(bytes, static_cast<std::size_t>(got));
  return true;
}

bool ScriptedPeer::send(Connection& connection, const std::string& bytes) {
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

/// Waits until the client has received everything that was sent. A client that is gone, or that
/// reads no further, ends the wait, too.
bool ScriptedPeer::awaitDrained(Connection& connection) {
  const int client = clientDescriptor(static_cast<int>(port_), connection.clientPort);
  const auto limit = Clock::now() + (client < 0 ? milliseconds(2) : milliseconds(2000));
  while (Clock::now() < limit && !stopping_) {
    pollfd gone{connection.descriptor, POLLRDHUP, 0};
    if (::poll(&gone, 1, 0) != 0) return false;
    if (client >= 0 && queued(connection.descriptor, SIOCOUTQ) == 0 &&
        queued(client, FIONREAD) <= 0) {
      return true;
    }
    std::this_thread::yield();
  }
  return true;
}

}  // namespace orvix::test
