// SPDX-License-Identifier: Apache-2.0
#include "tests/torture/qorVirtualNet.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
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

namespace orvix::torture {

namespace {

constexpr int FIRST_DESCRIPTOR = 0x40000000;
constexpr std::uint64_t MOST_CALLS = 3'000'000;  // of one net: beyond that somebody loops for ever
constexpr std::string_view LENGTH_KEY = "Content-Length  : ";

thread_local Net* current = nullptr;
/// The thread's own descriptor of a standing net, or none.
Connection* mine(int descriptor) {
  return current == nullptr ? nullptr : current->find(descriptor);
}

thread_local struct Resolved {
  addrinfo infos[2];
  sockaddr_in addresses[2];
  std::size_t lent = 0;
  std::size_t tried = 0;
} resolved;

template <class Function>
Function* real(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

constexpr unsigned int bit(Call call) { return 1U << static_cast<unsigned int>(call); }
constexpr unsigned int ANY = ~0U;

/// Of each fault: its error, and the calls that it can strike.
constexpr struct {
  int error;
  unsigned int calls;
} FAULTS[] = {{0, 0},
              {EINTR, ANY},
              {0, bit(Call::SEND) | bit(Call::RECV)},
              {0, bit(Call::RECV)},
              {ECONNRESET, ANY},
              {EPIPE, ANY},
              {ETIMEDOUT, ANY},
              {ECONNREFUSED, ANY},
              {EMFILE, ANY},
              {0, bit(Call::RESOLVE)},
              {EAGAIN, bit(Call::SEND)}};

bool applies(Fault fault, Call call, int pollMilliseconds) {
  if (fault == Fault::TIMEOUT && call == Call::POLL) return pollMilliseconds > 0;
  return (FAULTS[static_cast<std::size_t>(fault)].calls & bit(call)) != 0;
}

int errnoOf(Fault fault) { return FAULTS[static_cast<std::size_t>(fault)].error; }

int failWith(int error) {
  errno = error;
  return -1;
}
int failWith(Fault fault) { return failWith(errnoOf(fault)); }

/// Bytes of the whole frame at the start of `bytes`, 0 when it is not all there.
std::size_t frameLength(std::string_view bytes) {
  if (bytes.size() < 2) return 0;
  const std::size_t header =
      static_cast<unsigned char>(bytes[0]) * 256U + static_cast<unsigned char>(bytes[1]);
  if (bytes.size() < 2 + header) return 0;
  const std::string_view text = bytes.substr(2, header);
  const std::size_t at = text.find(LENGTH_KEY);
  std::size_t body = 0;
  for (std::size_t i = at + LENGTH_KEY.size(); at != text.npos && i < text.size(); ++i) {
    if (text[i] < '0' || text[i] > '9') break;
    body = body * 10 + static_cast<std::size_t>(text[i] - '0');
  }
  return bytes.size() < 2 + header + body ? 0 : 2 + header + body;
}

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

void Net::inject(Injection first, Injection second) {
  injections_ = {first, second};
  stormed_ = false;
}

void Net::forget() {
  for (Connection& connection : connections) {
    connection.written.erase(0, connection.framed);
    connection.framed = 0;
  }
  counts = {};
  calls = 0;
  consumed = 0;
  resolves = {};
  hits.clear();
  problem.clear();
}

std::size_t Net::openDescriptors() const {
  return static_cast<std::size_t>(std::count_if(connections.begin(), connections.end(),
                                                [](const Connection& c) { return c.open; })) +
         resolved.lent;
}

void Net::note(const std::string& what) {
  if (problem.empty()) problem = what;
}

Connection* Net::find(int descriptor) {
  const auto at = static_cast<std::size_t>(descriptor - FIRST_DESCRIPTOR);
  return descriptor >= FIRST_DESCRIPTOR && at < connections.size() ? &connections[at] : nullptr;
}

bool Net::strikes(const Injection& injection, Call call) const {
  if (injection.at == 0 || calls < injection.at) return false;
  if (calls == injection.at || injection.span == Span::EVERY_CALL) return true;
  const auto index = static_cast<std::size_t>(&injection - injections_.data());
  return injection.span == Span::SAME_CALL && call == struck_[index];
}

Fault Net::strike(Call call, Connection* connection, int pollMilliseconds, bool forInput) {
  ++calls;
  ++counts[static_cast<std::size_t>(call)];
  if (calls > MOST_CALLS) {
    std::fprintf(stderr,
                 "somebody loops: call %d, %zu faults struck, the first set to call %ju (%d, %d)\n",
                 static_cast<int>(call), hits.size(), std::uintmax_t{injections_[0].at},
                 static_cast<int>(injections_[0].fault), static_cast<int>(injections_[0].span));
    std::abort();
  }
  if (connection != nullptr && !connection->open) note("a call on a closed descriptor");
  if (call == Call::RESOLVE) {
    resolved.tried = 0;
    ++resolves[step];
  }
  if (call == Call::SOCKET) ++resolved.tried;
  for (std::size_t i = 0; i < injections_.size(); ++i) {
    const Injection& injection = injections_[i];
    if (calls == injection.at) struck_[i] = call;
    if (!strikes(injection, call) || !applies(injection.fault, call, pollMilliseconds)) continue;
    // A caller may repeat after these for ever, so every second call gets through.
    if (injection.fault == Fault::SIGNAL || injection.fault == Fault::FULL) {
      stormed_ = !stormed_;
      if (!stormed_) continue;
    }
    const bool opening = connection == nullptr || !connection->established ||
                         call == Call::GETOPT || call == Call::FCNTL || call == Call::SETOPT;
    hits.push_back({call, injection.fault, step, connection ? connection->replyAt : 0,
                    pollMilliseconds, forInput, opening,
                    call == Call::RESOLVE || resolved.tried >= addresses, pulling});
    return injection.fault;
  }
  return Fault::NONE;
}

void Net::answerFrames(Connection& connection) {
  for (;;) {
    const std::string_view rest = std::string_view(connection.written).substr(connection.framed);
    const std::size_t length = frameLength(rest);
    if (length == 0 || connection.peer != After::OPEN) return;
    ++connection.frames;
    Answer answer =
        peer_(rest.substr(0, length), static_cast<std::size_t>(&connection - connections.data()));
    connection.framed += length;
    if (connection.inAt == connection.in.size()) {
      connection.in.clear();
      connection.inAt = connection.replyAt = connection.pieceAt = 0;
      connection.pieces.clear();
      connection.lateAt = SIZE_MAX;
    }
    if (answer.lateAt != SIZE_MAX) connection.lateAt = connection.replyAt + answer.lateAt;
    if (connection.in.empty()) connection.pieces = std::move(answer.pieces);
    connection.in += answer.bytes;
    connection.peer = answer.after;
  }
}

}  // namespace orvix::torture

#pragma GCC visibility push(default)
extern "C" {

using namespace orvix::torture;

int getaddrinfo(const char* host, const char* port, const addrinfo* hints, addrinfo** found) {
  if (current == nullptr)
    return real<decltype(getaddrinfo)>("getaddrinfo")(host, port, hints, found);
  const Harness harness;
  const Fault fault = current->strike(Call::RESOLVE, nullptr);
  if (fault == Fault::NO_HOST) return EAI_NONAME;
  if (fault != Fault::NONE) {
    errno = errnoOf(fault);
    return EAI_SYSTEM;
  }
  for (std::size_t i = 0; i < current->addresses; ++i) {
    resolved.addresses[i] = {AF_INET, htons(1), {htonl(INADDR_LOOPBACK)}, {}};
    resolved.infos[i] = {};
    resolved.infos[i].ai_family = AF_INET;
    resolved.infos[i].ai_addr = reinterpret_cast<sockaddr*>(&resolved.addresses[i]);
    resolved.infos[i].ai_addrlen = sizeof resolved.addresses[i];
    if (i > 0) resolved.infos[i - 1].ai_next = &resolved.infos[i];
  }
  ++resolved.lent;
  *found = resolved.infos;
  return 0;
}

void freeaddrinfo(addrinfo* infos) noexcept {
  if (infos != resolved.infos) return real<void(addrinfo*)>("freeaddrinfo")(infos);
  --resolved.lent;
}

int socket(int domain, int type, int protocol) noexcept {
  if (current == nullptr) return real<int(int, int, int)>("socket")(domain, type, protocol);
  const Harness harness;
  const Fault fault = current->strike(Call::SOCKET, nullptr);
  if (fault != Fault::NONE) return failWith(fault);
  if ((type & SOCK_CLOEXEC) == 0) current->note("a socket that child processes inherit");
  current->connections.emplace_back();
  return FIRST_DESCRIPTOR + static_cast<int>(current->connections.size() - 1);
}

int connect(int fd, const sockaddr* address, socklen_t length) {
  Connection* const connection = mine(fd);
  if (connection == nullptr) return real<decltype(connect)>("connect")(fd, address, length);
  const Harness harness;
  const Fault fault = current->strike(Call::CONNECT, connection);
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
      current->strike(Call::POLL, connection, milliseconds, (polled->events & POLLIN) != 0);
  if (fault != Fault::NONE && fault != Fault::TIMEOUT) return failWith(fault);
  int ready = 0;
  for (pollfd* one = polled; one != polled + count; ++one) {
    one->revents = 0;
    connection = current->find(one->fd);
    if (connection == nullptr || fault == Fault::TIMEOUT) continue;
    if ((one->events & POLLIN) != 0 && milliseconds > 0 &&
        connection->replyAt >= connection->lateAt) {
      connection->lateAt = SIZE_MAX;  // what comes too late is there afterwards
      continue;
    }
    one->revents = readiness(*connection, one->events);
    ready += one->revents != 0 ? 1 : 0;
  }
  if (ready == 0 && milliseconds > 0) current->milliseconds += milliseconds;
  if (ready != 0 || milliseconds >= 0) return ready;
  current->note("a wait for ever");
  return failWith(EIO);
}

/// A wait that runs out takes its time at once.
int clock_gettime(clockid_t clock, timespec* time) noexcept {
  if (current == nullptr || clock != CLOCK_MONOTONIC) {
    return static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
  }
  *time = {current->milliseconds / 1000, current->milliseconds % 1000 * 1'000'000};
  return 0;
}

int getsockopt(int fd, int level, int name, void* value, socklen_t* size) noexcept {
  Connection* const connection = mine(fd);
  if (connection == nullptr) {
    return real<int(int, int, int, void*, socklen_t*)>("getsockopt")(fd, level, name, value, size);
  }
  const Harness harness;
  const Fault fault = current->strike(Call::GETOPT, connection);
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
  const Fault fault = current->strike(Call::FCNTL, connection);
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
  const Fault fault = current->strike(Call::SETOPT, connection);
  return fault == Fault::NONE ? 0 : failWith(fault);
}

ssize_t send(int fd, const void* bytes, size_t length, int flags) {
  Connection* const connection = mine(fd);
  if (connection == nullptr) return real<decltype(send)>("send")(fd, bytes, length, flags);
  const Harness harness;
  const Fault fault = current->strike(Call::SEND, connection);
  if ((flags & MSG_NOSIGNAL) == 0) current->note("a send that can raise SIGPIPE");
  if (length == 0) current->note("a send of 0 bytes");
  if (!connection->established) current->note("a send before the connection stands");
  if (fault == Fault::SHORT) length = (length + 1) / 2;
  if (fault != Fault::NONE && fault != Fault::SHORT) return failWith(fault);
  if (connection->peer == After::RESET) return failWith(EPIPE);
  connection->written.append(static_cast<const char*>(bytes), length);
  current->answerFrames(*connection);
  return static_cast<ssize_t>(length);
}

ssize_t recv(int fd, void* bytes, size_t length, int flags) {
  Connection* const connection = mine(fd);
  if (connection == nullptr) return real<decltype(recv)>("recv")(fd, bytes, length, flags);
  const Harness harness;
  const Fault fault = current->strike(Call::RECV, connection);
  if (length == 0) current->note("a receive of 0 bytes");
  if (fault == Fault::END) return 0;
  if (fault != Fault::NONE && fault != Fault::SHORT) return failWith(fault);
  std::size_t most = std::min(length, connection->in.size() - connection->inAt);
  // What is not begun yet has not arrived yet.
  if ((flags & MSG_DONTWAIT) != 0 && !connection->begun) return failWith(EAGAIN);
  if (most == 0 && connection->peer == After::OPEN) current->note("a receive that blocks for ever");
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
  if (fault == Fault::SHORT) current->hits.back().handed = most;
  std::memcpy(bytes, connection->in.data() + connection->inAt, most);
  connection->inAt += most;
  connection->begun = connection->begun && connection->inAt < connection->in.size();
  connection->replyAt += most;
  current->consumed += most;
  return static_cast<ssize_t>(most);
}

int close(int fd) {
  Connection* const connection = mine(fd);
  if (connection == nullptr) return real<decltype(close)>("close")(fd);
  const Harness harness;
  const Fault fault = current->strike(Call::CLOSE, connection);
  connection->open = false;  // a close that is interrupted has closed
  return fault == Fault::NONE ? 0 : failWith(fault);
}

}  // extern "C"
#pragma GCC visibility pop
