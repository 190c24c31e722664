// SPDX-License-Identifier: Apache-2.0
// The socket functions that the library calls, as a torture::Net plays them. Without one, and for other
// descriptors, they are the system's.
#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>
#include <utility>

#include "tests/torture/qorVirtualNet.h"

namespace orvix::torture {

namespace {

/// The thread's own descriptor of a standing net, or none.
Connection* mine(int descriptor) {
  return Net::current == nullptr ? nullptr : Net::current->find(descriptor);
}

thread_local struct {
  addrinfo infos[2];
  sockaddr_in addresses[2];
} resolved;

template <class Function>
Function* real(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

int failWith(int error) {
  errno = error;
  return -1;
}
int failWith(Fault fault) { return failWith(errnoOf(fault)); }

bool hasInput(const Connection& connection) {
  return connection.inAt < connection.in.size() || connection.peer != After::OPEN;
}

short readiness(Connection& connection, short events) {
  short ready = 0;
  if (connection.connecting) {
    connection.connecting = false;
    connection.established = true;
  }
  if ((events & POLLOUT) != 0 && connection.established) ready |= POLLOUT;
  if ((events & POLLIN) != 0 && hasInput(connection)) ready |= POLLIN;
  return ready;
}

}  // namespace

Net::Net(Peer peer) : peer_(std::move(peer)), before_(std::exchange(current, this)) {
  connections.reserve(16);
}
Net::~Net() { current = before_; }

}  // namespace orvix::torture

#pragma GCC visibility push(default)
extern "C" {

using namespace orvix::torture;

int getaddrinfo(const char* host, const char* port, const addrinfo* hints, addrinfo** found) {
  if (Net::current == nullptr)
    return real<decltype(getaddrinfo)>("getaddrinfo")(host, port, hints, found);
  const Harness harness;
  const Fault fault = Net::current->strike(Call::RESOLVE, nullptr);
  if (fault == Fault::NO_HOST) return EAI_NONAME;
  if (fault != Fault::NONE) {
    errno = errnoOf(fault);
    return EAI_SYSTEM;
  }
  for (std::size_t i = 0; i < Net::current->addresses; ++i) {
    resolved.addresses[i] = {AF_INET, htons(1), {htonl(INADDR_LOOPBACK)}, {}};
    resolved.infos[i] = {};
    resolved.infos[i].ai_family = AF_INET;
    resolved.infos[i].ai_addr = reinterpret_cast<sockaddr*>(&resolved.addresses[i]);
    resolved.infos[i].ai_addrlen = sizeof resolved.addresses[i];
    if (i > 0) resolved.infos[i - 1].ai_next = &resolved.infos[i];
  }
  ++Net::current->lentAddresses;
  *found = resolved.infos;
  return 0;
}

void freeaddrinfo(addrinfo* infos) noexcept {
  if (infos != resolved.infos) return real<void(addrinfo*)>("freeaddrinfo")(infos);
  --Net::current->lentAddresses;
}

int socket(int domain, int type, int protocol) noexcept {
  if (Net::current == nullptr) return real<int(int, int, int)>("socket")(domain, type, protocol);
  const Harness harness;
  const Fault fault = Net::current->strike(Call::SOCKET, nullptr);
  if (fault != Fault::NONE) return failWith(fault);
  if ((type & SOCK_CLOEXEC) == 0) Net::current->note("a socket that child processes inherit");
  Net::current->connections.emplace_back();
  return Net::FIRST_DESCRIPTOR + static_cast<int>(Net::current->connections.size() - 1);
}

int connect(int fd, const sockaddr* address, socklen_t length) {
  Connection* const connection = mine(fd);
  if (connection == nullptr) return real<decltype(connect)>("connect")(fd, address, length);
  const Harness harness;
  const Fault fault = Net::current->strike(Call::CONNECT, connection);
  connection->connecting = fault == Fault::NONE || fault == Fault::SIGNAL;
  return fault == Fault::NONE ? failWith(EINPROGRESS) : failWith(fault);
}

int poll(pollfd* list, nfds_t count, int milliseconds) {
  pollfd* volatile const launder =
      list;  // the header says that poll() never reads what it is given
  pollfd* const polled = launder;
  Connection* connection = count == 0 ? nullptr : mine(polled->fd);
  if (connection == nullptr) return real<decltype(poll)>("poll")(polled, count, milliseconds);
  const Harness harness;
  const Fault fault =
      Net::current->strike(Call::POLL, connection, milliseconds, (polled->events & POLLIN) != 0);
  if (fault != Fault::NONE && fault != Fault::TIMEOUT) return failWith(fault);
  int ready = 0;
  for (pollfd* one = polled; one != polled + count; ++one) {
    one->revents = 0;
    connection = Net::current->find(one->fd);
    if (connection == nullptr || fault == Fault::TIMEOUT) continue;
    if ((one->events & POLLIN) != 0 && milliseconds > 0 &&
        connection->replyAt >= connection->lateAt) {
      connection->lateAt = SIZE_MAX;  // what comes too late is there afterwards
      continue;
    }
    one->revents = readiness(*connection, one->events);
    ready += one->revents != 0 ? 1 : 0;
  }
  if (ready == 0 && milliseconds > 0) Net::current->milliseconds += milliseconds;
  if (ready != 0 || milliseconds >= 0) return ready;
  Net::current->note("a wait for ever");
  return failWith(EIO);
}

/// A wait that runs out takes its time at once.
int clock_gettime(clockid_t clock, timespec* time) noexcept {
  if (Net::current == nullptr || clock != CLOCK_MONOTONIC) {
    return static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
  }
  *time = {Net::current->milliseconds / 1000, Net::current->milliseconds % 1000 * 1'000'000};
  return 0;
}

int getsockopt(int fd, int level, int name, void* value, socklen_t* size) noexcept {
  Connection* const connection = mine(fd);
  if (connection == nullptr) {
    return real<int(int, int, int, void*, socklen_t*)>("getsockopt")(fd, level, name, value, size);
  }
  const Harness harness;
  const Fault fault = Net::current->strike(Call::GETOPT, connection);
  const int error = fault == Fault::NONE ? 0 : errnoOf(fault);  // how a connection's failure shows
  std::memcpy(value, &error, sizeof error);
  return 0;
}

int fcntl(int fd, int command, ...) {
  va_list rest;
  va_start(rest, command);
  void* const argument = va_arg(rest, void*);
  va_end(rest);
  Connection* const connection = mine(fd);
  if (connection == nullptr) return real<int(int, int, ...)>("fcntl")(fd, command, argument);
  const Harness harness;
  const Fault fault = Net::current->strike(Call::FCNTL, connection);
  if (fault != Fault::NONE) return failWith(fault);
  return command == F_GETFL ? O_RDWR | O_NONBLOCK : 0;
}

int setsockopt(int fd, int level, int name, const void* value, socklen_t size) noexcept {
  Connection* const connection = mine(fd);
  if (connection == nullptr) {
    return real<int(int, int, int, const void*, socklen_t)>("setsockopt")(fd, level, name, value,
                                                                          size);
  }
  const Harness harness;
  const Fault fault = Net::current->strike(Call::SETOPT, connection);
  return fault == Fault::NONE ? 0 : failWith(fault);
}

ssize_t send(int fd, const void* bytes, size_t length, int flags) {
  Connection* const connection = mine(fd);
  if (connection == nullptr) return real<decltype(send)>("send")(fd, bytes, length, flags);
  const Harness harness;
  const Fault fault = Net::current->strike(Call::SEND, connection);
  if ((flags & MSG_NOSIGNAL) == 0) Net::current->note("a send that can raise SIGPIPE");
  if (length == 0) Net::current->note("a send of 0 bytes");
  if (!connection->established) Net::current->note("a send before the connection stands");
  if (fault == Fault::SHORT) length = (length + 1) / 2;
  if (fault != Fault::NONE && fault != Fault::SHORT) return failWith(fault);
  if (connection->peer == After::RESET) return failWith(EPIPE);
  connection->written.append(static_cast<const char*>(bytes), length);
  Net::current->answerFrames(*connection);
  return static_cast<ssize_t>(length);
}

ssize_t recv(int fd, void* bytes, size_t length, int flags) {
  Connection* const connection = mine(fd);
  if (connection == nullptr) return real<decltype(recv)>("recv")(fd, bytes, length, flags);
  const Harness harness;
  const Fault fault = Net::current->strike(Call::RECV, connection);
  if (length == 0) Net::current->note("a receive of 0 bytes");
  if (fault == Fault::END) return 0;
  if (fault != Fault::NONE && fault != Fault::SHORT) return failWith(fault);
  std::size_t most = std::min(length, connection->in.size() - connection->inAt);
  // What is not begun yet has not arrived yet.
  if ((flags & MSG_DONTWAIT) != 0 && !connection->begun) return failWith(EAGAIN);
  if (most == 0 && connection->peer == After::OPEN)
    Net::current->note("a receive that blocks for ever");
  if (most == 0) return connection->peer == After::CLOSE ? 0 : failWith(ECONNRESET);
  if (connection->pieceAt < connection->pieces.size()) {
    std::uint32_t& piece = connection->pieces[connection->pieceAt];
    if (fault == Fault::SHORT) most = (most + 1) / 2;
    most = std::min<std::size_t>(most, piece);
    piece -= static_cast<std::uint32_t>(most);
    connection->begun = piece != 0;
    if (piece == 0) ++connection->pieceAt;
  } else {
    if (fault == Fault::SHORT) most = (most + 1) / 2;
    connection->begun = true;
  }
  if (fault == Fault::SHORT) Net::current->hits.back().handed = most;
  std::memcpy(bytes, connection->in.data() + connection->inAt, most);
  connection->inAt += most;
  connection->begun = connection->begun && connection->inAt < connection->in.size();
  connection->replyAt += most;
  Net::current->consumed += most;
  return static_cast<ssize_t>(most);
}

int close(int fd) {
  Connection* const connection = mine(fd);
  if (connection == nullptr) return real<decltype(close)>("close")(fd);
  const Harness harness;
  const Fault fault = Net::current->strike(Call::CLOSE, connection);
  connection->open = false;  // a close that is interrupted has closed
  return fault == Fault::NONE ? 0 : failWith(fault);
}

}  // extern "C"
#pragma GCC visibility pop
