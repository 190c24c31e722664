// SPDX-License-Identifier: Apache-2.0
#include "infra/oss/qorSocket.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <optional>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <system_error>
#include <type_traits>
#include <unistd.h>
#include <utility>
#include <vector>

#include "infra/oss/internal/qorTextConversion.h"
#include "infra/oss/qorSocketException.h"

namespace orvix::oss {

/// Owns one descriptor, and bytes that were received along with those that somebody wanted.
struct Socket::Connection {
  explicit Connection(int fd) : descriptor(fd) {}
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() { ::close(descriptor); }

  [[nodiscard]] std::size_t held() const { return end - begin; }
  /// Whether the next receive has its answer already.
  [[nodiscard]] bool hasAnswer() const { return held() != 0 || ending.has_value(); }
  std::size_t take(char* out, std::size_t length);
  std::size_t receive(char* out, std::size_t length);
  void readAhead();

  int descriptor;
  std::string peer;  // "host:port", for messages
  std::array<char, 0x1000> ahead;
  std::size_t begin = 0;
  std::size_t end = 0;
  std::optional<int> ending;  // behind the bytes held: the reason of a failure, 0: the peer closed
};

static_assert(std::is_trivially_copyable_v<Socket::_AddrInfoExternal>);
const Socket::_AddrInfoExternal Socket::NullAddrInfoExternal{};

namespace {

/// A point in time, or never.
class Deadline {
 public:
  explicit Deadline(const unsigned long long* timeOut) {
    if (timeOut == nullptr) return;
    constexpr unsigned long long MOST = 1000ULL * 60 * 60 * 24 * 365;  // keeps the sum in range
    at_ = Clock::now() + std::chrono::milliseconds(std::min(*timeOut, MOST));
  }

  [[nodiscard]] bool never() const { return !at_.has_value(); }

  [[nodiscard]] bool passed() const { return !never() && Clock::now() >= *at_; }

  /// What poll() takes: -1 for never, else the milliseconds left, rounded up, 0 when it has passed.
  [[nodiscard]] int pollTimeOut() const {
    if (never()) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*at_ - Clock::now()).count();
    return static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
  }

 private:
  using Clock = std::chrono::steady_clock;
  std::optional<Clock::time_point> at_;
};

[[noreturn]] void raise(const char* id, const std::string& peer, const std::string& reason) {
  SocketException error(icu::UnicodeString(id, ""), nullptr, 0);
  error.getErrorMessage().setMessageText(messageText(reason));
  if (!peer.empty()) error.getErrorMessage().addArgument(messageText(peer));
  throw error;
}

/// What the caller asked for makes no sense, whatever the network does.
[[noreturn]] void refuse(const char* id, const std::string& peer, const char* reason) {
  BaseException error(icu::UnicodeString(id, ""), nullptr, 0);
  error.getErrorMessage().setMessageText(messageText(reason));
  error.getErrorMessage().addArgument(messageText(peer));
  throw error;
}

std::string reasonOf(int error) { return std::generic_category().message(error); }

/// Waits for `polled` until `deadline`; signals do not end the wait. 0: the deadline has passed.
int pollUntil(pollfd* polled, std::size_t count, const Deadline& deadline) {
  for (;;) {
    const int ready = ::poll(polled, static_cast<nfds_t>(count), deadline.pollTimeOut());
    if (ready > 0 || (ready == 0 && deadline.passed())) return ready;
    if (ready < 0 && errno != EINTR) raise("SOCKET_WAIT", "", reasonOf(errno));
  }
}

constexpr std::size_t SMALL_READ = 64;  // bytes; a receive of so few reads ahead

using Addresses = std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)>;

Addresses resolve(const std::string& host, unsigned int port, int family, const std::string& peer) {
  addrinfo hints{};
  hints.ai_family = family;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICSERV;
  addrinfo* found = nullptr;
  const int error = ::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
  if (error == EAI_SYSTEM) raise("SOCKET_RESOLVE", peer, reasonOf(errno));
  if (error != 0) raise("SOCKET_RESOLVE", peer, ::gai_strerror(error));
  return {found, &::freeaddrinfo};
}

/// 0 when the connection that `descriptor` is opening stands, else the reason why not.
int awaitConnected(int descriptor, const Deadline& deadline) {
  pollfd polled{descriptor, POLLOUT, 0};
  if (pollUntil(&polled, 1, deadline) == 0) return ETIMEDOUT;
  int error = 0;
  socklen_t size = sizeof error;
  if (::getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size) != 0) return errno;
  return error;
}

/// A connection to a free port of this machine may be given that very port as its own; then it is
/// connected to itself and would read back what it writes, though nobody listens there.
bool isConnectedToItself(int descriptor) {
  sockaddr_storage own{};
  sockaddr_storage peer{};
  socklen_t ownSize = sizeof own;
  socklen_t peerSize = sizeof peer;
  return ::getsockname(descriptor, reinterpret_cast<sockaddr*>(&own), &ownSize) == 0 &&
         ::getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &peerSize) == 0 &&
         (own.ss_family == AF_INET || own.ss_family == AF_INET6) && ownSize == peerSize &&
         std::memcmp(&own, &peer, ownSize) == 0;
}

/// Connects to one address; 0 or the reason why not. On success `descriptor` blocks again.
int connectTo(int descriptor, const addrinfo& address, const Deadline& deadline) {
  if (::connect(descriptor, address.ai_addr, address.ai_addrlen) != 0) {
    // EINTR leaves the connection attempt running, just like EINPROGRESS.
    if (errno != EINPROGRESS && errno != EINTR) return errno;
    if (const int error = awaitConnected(descriptor, deadline); error != 0) return error;
  }
  if (isConnectedToItself(descriptor)) return ECONNREFUSED;
  const int flags = ::fcntl(descriptor, F_GETFL);
  if (flags < 0 || ::fcntl(descriptor, F_SETFL, flags & ~O_NONBLOCK) != 0) return errno;
  const int on = 1;
  ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);  // a request must not wait
  return 0;
}

}  // namespace

std::size_t Socket::Connection::take(char* out, std::size_t length) {
  const std::size_t taken = std::min(length, held());
  std::memcpy(out, ahead.data() + begin, taken);
  begin += taken;
  return taken;
}

/// One receive of what is not held yet.
std::size_t Socket::Connection::receive(char* out, std::size_t length) {
  if (ending) {
    const int reason = *std::exchange(ending, std::nullopt);
    if (reason == 0) return 0;
    raise("SOCKET_READ", peer, reasonOf(reason));
  }
  for (;;) {
    const ssize_t got = ::recv(descriptor, out, length, 0);
    if (got >= 0) return static_cast<std::size_t>(got);
    if (errno != EINTR) raise("SOCKET_READ", peer, reasonOf(errno));
  }
}

/// Receives more than the few bytes that are wanted. Bytes that are held already are what one
/// receive would begin with; it would not wait for others, but take those that are there.
void Socket::Connection::readAhead() {
  if (held() == 0) {
    begin = end = 0;
    end = receive(ahead.data(), ahead.size());
    return;
  }
  std::memmove(ahead.data(), ahead.data() + begin, held());
  end = held();
  begin = 0;
  ssize_t got = 0;
  do {
    got = ::recv(descriptor, ahead.data() + end, ahead.size() - end, MSG_DONTWAIT);
  } while (got < 0 && errno == EINTR);
  if (got > 0) {
    end += static_cast<std::size_t>(got);
  } else if (got == 0 || (errno != EAGAIN && errno != EWOULDBLOCK)) {
    ending = got == 0 ? 0 : errno;
  }
}

Socket::Socket() = default;
Socket::Socket(const Socket&) = default;
Socket::Socket(Socket&&) noexcept = default;
Socket& Socket::operator=(const Socket&) = default;
Socket& Socket::operator=(Socket&&) noexcept = default;
Socket::~Socket() = default;

Socket::Connection& Socket::connection() const {
  if (connection_ == nullptr) raise("SOCKET_CLOSED", "", "the socket is not connected");
  return *connection_;
}

void Socket::connect(const icu::UnicodeString& host, unsigned int port,
                     const _AddrInfoExternal& addrInfo, const unsigned long long* timeOut) {
  close();
  const std::string name = utf8(host);
  const std::string peer = name + ':' + std::to_string(port);
  if (port == 0 || port > 65535) refuse("SOCKET_PORT", peer, "a port is 1 to 65535");
  if (host.indexOf(char16_t{0}) >= 0) refuse("SOCKET_HOST", peer, "a host name holds no NUL");
  const Addresses addresses = resolve(name, port, addrInfo.addressFamily, peer);
  const Deadline deadline(timeOut);
  int reason = EADDRNOTAVAIL;
  for (const addrinfo* at = addresses.get(); at != nullptr; at = at->ai_next) {
    const int fd = ::socket(at->ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0) {
      reason = errno;
      continue;
    }
    std::shared_ptr<Connection> connection;
    try {
      connection = std::make_shared<Connection>(fd);
    } catch (...) {
      ::close(fd);
      throw;
    }
    reason = connectTo(fd, *at, deadline);
    if (reason == 0) {
      connection->peer = peer;
      connection_ = std::move(connection);
      return;
    }
  }
  raise("SOCKET_CONNECT", peer, reasonOf(reason));
}

void Socket::close() noexcept { connection_.reset(); }

void Socket::write(const char* buffer, std::size_t offset, std::size_t length) {
  write(buffer, offset, length, nullptr);
}

void Socket::write(const char* buffer, std::size_t offset, std::size_t length,
                   const unsigned long long* timeOut) {
  if (length == 0) return;
  const int fd = connection().descriptor;
  const Deadline deadline(timeOut);
  const int flags = MSG_NOSIGNAL | (deadline.never() ? 0 : MSG_DONTWAIT);
  std::size_t done = 0;
  while (done < length) {
    const ssize_t sent = ::send(fd, buffer + offset + done, length - done, flags);
    if (sent >= 0) {
      done += static_cast<std::size_t>(sent);
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      pollfd polled{fd, POLLOUT, 0};
      if (pollUntil(&polled, 1, deadline) == 0) {
        raise("SOCKET_WRITE", connection_->peer, reasonOf(ETIMEDOUT));
      }
    } else if (errno != EINTR) {
      raise("SOCKET_WRITE", connection_->peer, reasonOf(errno));
    }
    // A peer that takes a byte now and then must not stretch the deadline.
    if (done < length && deadline.passed()) {
      raise("SOCKET_WRITE", connection_->peer, reasonOf(ETIMEDOUT));
    }
  }
}

std::size_t Socket::read(char* buffer, std::size_t offset, std::size_t length) {
  std::size_t placed = 0;
  while (placed < length) {
    const std::size_t got = readOnce(buffer, offset + placed, length - placed);
    if (got == 0) break;
    placed += got;
  }
  return placed;
}

std::size_t Socket::readOnce(char* buffer, std::size_t offset, std::size_t length) {
  if (length == 0) return 0;  // to the system a receive of 0 bytes looks like the peer's close
  Connection& from = connection();
  if (length <= SMALL_READ && from.held() < length && !from.ending) from.readAhead();
  if (from.held() != 0) return from.take(buffer + offset, length);
  return length <= SMALL_READ && !from.ending ? 0 : from.receive(buffer + offset, length);
}

bool Socket::isReadable(unsigned long long milliseconds) const {
  const Connection& from = connection();
  if (from.hasAnswer()) return true;
  pollfd polled{from.descriptor, POLLIN, 0};
  if (milliseconds != 0) return pollUntil(&polled, 1, Deadline(&milliseconds)) > 0;
  int ready = 0;
  do {  // without a look at the clock: every request asks this
    ready = ::poll(&polled, 1, 0);
  } while (ready < 0 && errno == EINTR);
  if (ready < 0) raise("SOCKET_WAIT", "", reasonOf(errno));
  return ready > 0;
}

std::size_t Socket::select(std::list<Socket>& readable, std::list<Socket>& writable,
                           std::list<Socket>& failed, const unsigned long long* timeOut) {
  struct Watch {
    std::list<Socket>& sockets;
    short events;
    short ready;
  };
  // An end of file or an error wakes a reader and a writer: their next call tells which.
  constexpr short TROUBLE = POLLHUP | POLLERR | POLLNVAL;
  const Watch watches[] = {{readable, POLLIN, POLLIN | TROUBLE},
                           {writable, POLLOUT, POLLOUT | TROUBLE},
                           {failed, POLLPRI, POLLPRI | POLLERR | POLLNVAL}};
  std::vector<pollfd> polled;
  for (const Watch& watch : watches) {
    for (const Socket& socket : watch.sockets) {
      polled.push_back({socket.connection().descriptor, watch.events, 0});
    }
  }
  const auto hasAnswer = [](const Socket& socket) { return socket.connection_->hasAnswer(); };
  constexpr unsigned long long NOW = 0;
  const bool atOnce = std::any_of(readable.begin(), readable.end(), hasAnswer);
  pollUntil(polled.data(), polled.size(), Deadline(atOnce ? &NOW : timeOut));
  auto at = polled.cbegin();
  std::size_t left = 0;
  for (const Watch& watch : watches) {
    watch.sockets.remove_if([&](const Socket& socket) {
      const bool isReady = ((at++)->revents & watch.ready) != 0;
      return !isReady && !(watch.events == POLLIN && hasAnswer(socket));
    });
    left += watch.sockets.size();
  }
  return left;
}

}  // namespace orvix::oss
