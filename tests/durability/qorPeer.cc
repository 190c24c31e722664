// SPDX-License-Identifier: Apache-2.0
#include "tests/durability/qorPeer.h"

#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "tests/server/qorServerBytes.h"
#include "tests/support/qorLoopback.h"

namespace orvix::durability {

namespace bytes = server::testing;

namespace {

constexpr timeval REPLY_LIMIT{60, 0};

std::size_t u16Of(const std::string& field) { return oss::ByteReader(field).u16().value_or(0); }

}  // namespace

Peer::Peer(unsigned port) {
  socket_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int yes = 1;
  ::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
  ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &REPLY_LIMIT, sizeof REPLY_LIMIT);
  static_cast<void>(test::connectToLoopback(socket_, port));
}

Peer::~Peer() { ::close(socket_); }

void Peer::tell(const std::string& lines, std::string_view body) {
  const std::string frame = bytes::requestFrame(lines, body);
  std::string_view rest = frame;
  while (!rest.empty()) {
    const ssize_t count = ::send(socket_, rest.data(), rest.size(), MSG_NOSIGNAL);
    if (count <= 0) return;  // the next read tells
    rest.remove_prefix(static_cast<std::size_t>(count));
  }
}

bool Peer::read(std::string& out, std::size_t count) {
  out.resize(count);
  std::size_t at = 0;
  while (at < count) {
    const ssize_t got = ::recv(socket_, out.data() + at, count - at, 0);
    if (got <= 0) return false;
    at += static_cast<std::size_t>(got);
  }
  return true;
}

std::optional<std::string> Peer::readVerdict() {
  std::string status;
  std::string length;
  std::string pairs;
  if (!read(status, 2)) return std::nullopt;
  if (u16Of(status) != 6) return "status " + std::to_string(u16Of(status));
  if (!read(length, 2) || !read(pairs, u16Of(length))) return std::nullopt;
  return bytes::pairsOf(pairs)["MsgId"];
}

/// The payload; empty at the end of the list.
std::optional<std::string> Peer::nextRecord() {
  std::string status;
  std::string length;
  std::string payload;
  if (!read(status, 2) || !read(length, 2) || !read(payload, u16Of(length))) return std::nullopt;
  return payload;
}

std::optional<std::string> Peer::ask(const std::string& lines, std::string_view body) {
  tell(lines, body);
  return readVerdict();
}

std::optional<Keys> Peer::search(const std::string& collection, const std::string& query) {
  const auto verdict = ask("action: search\nindex: " + collection + "\nquery: " + query +
                           "\nscoreWanted: false\nmode: scalar\n");
  if (verdict != "status 1") return std::nullopt;
  Keys keys;
  for (;;) {
    const auto key = nextRecord();
    if (!key) return std::nullopt;
    if (key->empty()) return keys;
    keys.insert(*key);
  }
}

std::optional<Keys> Peer::outcomes(const std::string& collection, Keys& rejected) {
  if (ask("action: getParseResult\nindex: " + collection + "\n") != "status 1") return std::nullopt;
  Keys indexed;
  for (;;) {
    const auto record = nextRecord();
    if (!record) return std::nullopt;
    if (record->empty()) return indexed;
    auto pairs = bytes::pairsOf(*record);
    (pairs.contains("MsgId") ? rejected : indexed).insert(pairs["Doc"]);
  }
}

}  // namespace orvix::durability
