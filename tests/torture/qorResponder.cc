// SPDX-License-Identifier: Apache-2.0
#include "tests/torture/qorResponder.h"

#include <cerrno>
#include <cstdlib>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include "tests/support/qorLoopback.h"
#include "tests/support/qorWire.h"

namespace orvix::torture {

bool sendAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = ::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

namespace {

/// Receives exactly `count` bytes behind `into`; false when the client is gone.
bool receiveExactly(int descriptor, std::size_t count, std::string& into) {
  char buffer[16384];
  while (count != 0) {
    const std::size_t most = count < sizeof buffer ? count : sizeof buffer;
    const ssize_t got = ::recv(descriptor, buffer, most, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    into.append(buffer, static_cast<std::size_t>(got));
    count -= static_cast<std::size_t>(got);
  }
  return true;
}

const struct {
  const char* action;
  const char* reply;
} REPLIES[] = {
    {"asyncAddDocument", ""},
    {"getStatus", "0005"},
    {"getParseResult", "0001 000e 0008 0003 446f63 0001 61 0001 0000"},
    {"selectivity", "0001 0001 000c 00000003 00000002 00000009 0001 0000"},
    {"getServerVersion", "0001 0001 0003 312e30"},
    {"collectionStatus", "0001 000e 0002 6f70 0001 0002 656e"},
    {"takeover", "0006 000b 0005 4d73674964 0002 4e31"},
};

std::string valueOf(const std::string& headerText, const std::string& name) {
  const auto at = headerText.find(name + ": ");
  if (at == std::string::npos) return {};
  const auto from = at + name.size() + 2;
  return headerText.substr(from, headerText.find('\n', from) - from);
}

/// One record with status 5: the score in thousandths, then the raw key.
std::string searchReply(const std::string& query) {
  return test::hex("0001") + test::record(5, test::hex("01f4") + query) + test::END_MARKER;
}

/// False when the connection is over.
bool answer(int descriptor, const std::string& headerText) {
  const std::string action = valueOf(headerText, "action");
  if (valueOf(headerText, "index") == "broken") {
    ::shutdown(descriptor,
               SHUT_WR);  // a close before the reset is what makes a write raise SIGPIPE
    ::usleep(5000);
    const linger abruptly{1, 0};
    ::setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &abruptly, sizeof abruptly);
    return false;
  }
  std::string body;
  const std::string length = valueOf(headerText, "Content-Length  ");
  if (!receiveExactly(descriptor, std::strtoul(length.c_str(), nullptr, 10), body)) return false;
  std::string reply = test::hex("0001");
  for (const auto& row : REPLIES) {
    if (action == row.action) reply = test::hex(row.reply);
  }
  if (action == "search") reply = searchReply(valueOf(headerText, "query"));
  return sendAll(descriptor, reply);
}

void serve(int descriptor) {
  const int on = 1;
  ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  for (bool going = true; going;) {
    std::string length;
    std::string headerText;
    going = receiveExactly(descriptor, 2, length) &&
            receiveExactly(descriptor,
                           static_cast<unsigned char>(length[0]) * 256U +
                               static_cast<unsigned char>(length[1]),
                           headerText) &&
            answer(descriptor, headerText);
  }
  ::close(descriptor);
}

}  // namespace

unsigned int startResponder() {
  unsigned int port = 0;
  const int listener = test::listenOnLoopback(SOMAXCONN, port);
  std::thread([listener] {
    for (;;) {
      const int descriptor = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
      if (descriptor >= 0) std::thread(serve, descriptor).detach();
    }
  }).detach();
  return port;
}

}  // namespace orvix::torture
