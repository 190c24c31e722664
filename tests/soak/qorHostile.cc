// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/server/qorServerBytes.h"
#include "tests/soak/qorLoad.h"
#include "tests/support/qorLoopback.h"

namespace orvix::soak {

namespace bytes = server::testing;

namespace {

constexpr std::size_t MOST_HELD = 24;
constexpr std::size_t GARBAGE = 4000;

/// With a small window, so that a reply which nobody reads fills it.
int connectTo(unsigned port) {
  const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int window = 4096;
  ::setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &window, sizeof window);
  const timeval limit{1, 0};
  ::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
  const timeval patience{10, 0};
  ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  if (test::connectToLoopback(socket, port)) return socket;
  ::close(socket);
  return -1;
}

/// Closes with a reset.
void reset(int socket) {
  const linger hard{1, 0};
  ::setsockopt(socket, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
  ::close(socket);
}

}  // namespace

HostileLoad::~HostileLoad() {
  for (const int socket : held_) ::close(socket);
}

std::string HostileLoad::nextAttack() {
  const std::string key = "Authorization: " + token_ + "\n";
  const std::string document = bytes::documentOf("evil", "text that nobody asked for");
  const std::string add = "action: asyncAddDocument\nindex: hostile\n" + key;
  switch (dice_.below(9)) {
    case 0:  // half a header, and then nothing
      return bytes::requestFrame("action: getStatus\n" + key).substr(0, 9 + dice_.below(20));
    case 1: {
      std::string garbage(1 + dice_.below(GARBAGE), '\0');
      for (char& byte : garbage) byte = static_cast<char>(dice_.below(256));
      return garbage;
    }
    case 2:  // the largest length of a header, and little of it
      return "\xff\xff" + std::string(dice_.below(100), 'x');
    case 3: {  // lengths of a body that never comes
      const std::string header = "Content-Length  : 4294967295\n" + add + "\r\n";
      return bytes::u16(header.size()) + header;
    }
    case 4: {
      const std::string header = "Content-Length  : 67108864\n" + add + "\r\n";
      return bytes::u16(header.size()) + header + std::string(dice_.below(60000), '\0');
    }
    case 5: {  // replies that are not read
      std::string many;
      for (int i = 0; i < 40; ++i) {
        many += bytes::requestFrame("action: search\nindex: owned0\nquery: common\n" + key);
      }
      return many;
    }
    case 6:  // a document of which half comes
      return bytes::requestFrame(add, document).substr(0, 60 + dice_.below(80));
    case 7:  // documents that are none, for a collection that is none
      return bytes::requestFrame(add, "\0\1\2\3\4\5\6\7") + bytes::requestFrame(add, document);
    default:  // without the right to
      return bytes::requestFrame("action: deleteCollection\nindex: owned0\n");
  }
}

/// Whoever watches the server, at any moment.
void HostileLoad::scrape() {
  const std::uint64_t life = world_.life();
  const int socket = connectTo(world_.metricsPort());
  if (socket < 0) return;
  const std::string request = "GET /metrics HTTP/1.1\r\n\r\n";
  static_cast<void>(::send(socket, request.data(), request.size(), MSG_NOSIGNAL));
  std::string page;
  std::array<char, 4096> piece{};
  for (ssize_t count = 1; count > 0; page.append(piece.data(), static_cast<std::size_t>(count))) {
    count = std::max<ssize_t>(::recv(socket, piece.data(), piece.size(), 0), 0);
  }
  ::close(socket);
  const bool right = page.starts_with("HTTP/1.1 200") && page.find("\nqorserver_up") != page.npos;
  if (right) return world_.count(Operation::SCRAPE);
  if (life % 2 == 0 && world_.life() == life) world_.wrong("the metrics are not served");
}

void HostileLoad::step() {
  if (world_.life() % 2 == 1) return;
  if (dice_.below(4) == 0) return scrape();
  const int socket = connectTo(world_.port());
  if (socket < 0) return;
  const std::string attack = nextAttack();
  static_cast<void>(::send(socket, attack.data(), attack.size(), MSG_NOSIGNAL));
  world_.count(Operation::HOSTILE);
  if (dice_.below(3) == 0) return reset(socket);
  held_.push_back(socket);
  if (held_.size() <= MOST_HELD) return;
  if (dice_.below(2) == 0) {
    reset(held_.front());
  } else {
    ::close(held_.front());
  }
  held_.pop_front();
}

}  // namespace orvix::soak
