// SPDX-License-Identifier: Apache-2.0
#include "tests/torture/qorVirtualNet.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "tests/support/qorWire.h"

namespace orvix::torture {

namespace {

constexpr std::uint64_t MOST_CALLS = 3'000'000;  // of one net: beyond that somebody loops for ever

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

}  // namespace

int errnoOf(Fault fault) { return FAULTS[static_cast<std::size_t>(fault)].error; }

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
         lentAddresses;
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
    triedAddresses = 0;
    ++resolves[step];
  }
  if (call == Call::SOCKET) ++triedAddresses;
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
                    call == Call::RESOLVE || triedAddresses >= addresses, pulling});
    return injection.fault;
  }
  return Fault::NONE;
}

void Net::answerFrames(Connection& connection) {
  for (;;) {
    const std::string_view rest = std::string_view(connection.written).substr(connection.framed);
    const std::size_t length = test::frameLength(rest);
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
