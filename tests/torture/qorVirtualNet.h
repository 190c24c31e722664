// SPDX-License-Identifier: Apache-2.0
// A network in memory for the programs here: it defines the socket functions that the library calls
// and plays a scripted peer behind them, without threads, time or descriptors of the system.
// Requests flow in through send(), the peer's answers out through recv(), in chosen pieces; at a
// chosen call a fault strikes instead. Other descriptors reach the system's functions.
// The steady clock stands still, too, but for waits that run out.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace orvix::torture {

enum class Call { RESOLVE, SOCKET, CONNECT, POLL, GETOPT, FCNTL, SETOPT, SEND, RECV, CLOSE };
inline constexpr std::size_t CALLS = 10;

/// What strikes. An errno fault fails any call; SHORT, END and FULL touch data calls only,
/// NO_HOST only the resolver. TIMEOUT lets a poll() with a limit run out.
enum class Fault { NONE, SIGNAL, SHORT, END, RESET, PIPE, TIMEOUT, REFUSED, NO_FD, NO_HOST, FULL };
enum class Span { ONCE, SAME_CALL, EVERY_CALL };  ///< from then on: that kind of call, or any

struct Injection {
  std::uint64_t at = 0;  ///< number of the call that is struck, from 1; 0: none
  Fault fault = Fault::NONE;
  Span span = Span::ONCE;
};

/// A fault that struck, and where. `replyAt`: bytes of the reply handed out before.
struct Hit {
  Call call;
  Fault fault;
  std::size_t step;
  std::size_t replyAt;
  int pollMilliseconds;
  bool forInput;  ///< of a poll(): bytes were awaited, not room
  bool opening;   ///< the connection was not open yet
  bool lastAddress;
  bool pulling;
  std::size_t handed = 0;  ///< bytes that a receive cut SHORT still gave
};

int errnoOf(Fault fault);

enum class After { OPEN, CLOSE, RESET };
struct Answer {
  std::string bytes;
  std::vector<std::uint32_t> pieces{};  ///< lengths of the first segments; the rest is one
  After after = After::OPEN;
  std::size_t lateAt = SIZE_MAX;  ///< the first poll() with a limit at this byte runs out
};

struct Connection {
  bool open = true;  // this side
  bool established = false;
  bool connecting = false;
  int connectError = 0;
  After peer = After::OPEN;
  std::string written;     // every byte that was sent
  std::size_t framed = 0;  // of them, in whole frames
  std::size_t frames = 0;
  std::string in;  // answered and not handed out
  std::size_t inAt = 0;
  std::vector<std::uint32_t> pieces;
  std::size_t pieceAt = 0;
  bool begun = false;  // a segment is handed out in part
  std::size_t replyAt = 0;
  std::size_t lateAt = SIZE_MAX;
};

/// One network and its peer. While it stands, the calling thread's virtual sockets are its own.
class Net {
 public:
  using Peer = std::function<Answer(std::string_view frame, std::size_t connection)>;
  static constexpr int FIRST_DESCRIPTOR = 0x40000000;
  static inline thread_local Net* current = nullptr;

  explicit Net(Peer peer);
  Net(const Net&) = delete;
  Net& operator=(const Net&) = delete;
  ~Net();

  void inject(Injection first, Injection second = {});
  /// Forgets what was written, counted and struck; connections stay.
  void forget();
  [[nodiscard]] std::size_t openDescriptors() const;

  // What the torture programs read and set while it runs.
  // NOLINTBEGIN(misc-non-private-member-variables-in-classes)
  std::vector<Connection> connections;
  std::array<std::uint64_t, CALLS> counts{};
  std::uint64_t calls = 0;
  std::uint64_t consumed = 0;  ///< bytes that recv() handed out
  std::vector<Hit> hits;
  std::string problem;   ///< the first thing a socket's user must not do, a stuck receive included
  std::size_t step = 0;  ///< noted with each hit, as is the next
  bool pulling = false;
  std::array<unsigned int, 8> resolves{};  ///< by step: one for each connection that is attempted
  std::size_t addresses = 1;               ///< of the host
  std::size_t triedAddresses = 0;
  std::size_t lentAddresses = 0;          ///< lists of them that are not freed
  std::int64_t milliseconds = 1'000'000;  ///< the time
  // NOLINTEND(misc-non-private-member-variables-in-classes)

  // What the functions below do, each for its call.
  Fault strike(Call call, Connection* connection, int pollMilliseconds = -1, bool forInput = false);
  Connection* find(int descriptor);
  void note(const std::string& what);
  void answerFrames(Connection& connection);

 private:
  bool strikes(const Injection& injection, Call call) const;

  Peer peer_;
  Net* before_;
  std::array<Injection, 2> injections_{};
  std::array<Call, 2> struck_{};
  bool stormed_ = false;
};

/// While one stands, allocations are the harness's own: they are neither counted nor failed.
struct Harness {
  Harness() { ++depth; }
  ~Harness() { --depth; }
  Harness(const Harness&) = delete;
  Harness& operator=(const Harness&) = delete;
  static inline thread_local int depth = 0;
};

}  // namespace orvix::torture
