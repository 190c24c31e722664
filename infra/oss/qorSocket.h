// SPDX-License-Identifier: Apache-2.0
// One TCP client connection, blocking, without exceptions to what POSIX calls can do to a caller:
// no signal, no inherited descriptor, no short write, no EINTR.
#pragma once

#include <cstddef>
#include <list>
#include <memory>

#include <unicode/unistr.h>

#include "infra/qorExport.h"

namespace orvix::oss {

/// A TCP connection, or none. Copies share the connection; the last owner closes it.
/// Time-outs are in milliseconds; a null time-out means no limit.
/// Throws SocketException on failure, with what was tried, the peer and the system's reason.
/// Threads: one object, and the connection that copies share, is used by one thread at a time.
class QORINFRA_EXPORT Socket {
 public:
  /// How to resolve a host. All zero: no hint.
  // Kept: callers link to these spellings.
  // NOLINTBEGIN(bugprone-reserved-identifier, readability-identifier-naming)
  struct _AddrInfoExternal {
    int addressFamily;  ///< AF_INET, AF_INET6 or AF_UNSPEC (0)
    int reserved[7];    ///< zero
  };
  static const _AddrInfoExternal NullAddrInfoExternal;  ///< no hint
  // NOLINTEND(bugprone-reserved-identifier, readability-identifier-naming)

  Socket();
  Socket(const Socket&);
  Socket(Socket&&) noexcept;
  Socket& operator=(const Socket&);
  Socket& operator=(Socket&&) noexcept;
  virtual ~Socket();

  /// Resolves `host` and connects to `port`, trying its addresses in turn. The time-out covers
  /// connecting over all addresses, not name resolution. An earlier connection is let go first.
  /// Throws BaseException when `port` is not 1 to 65535 or `host` holds a NUL.
  void connect(const icu::UnicodeString& host, unsigned int port, const _AddrInfoExternal& addrInfo,
               const unsigned long long* timeOut);
  /// Lets the connection go; nothing on a closed socket.
  void close() noexcept;

  /// Writes exactly `length` bytes from `buffer + offset`, or throws. Length 0 returns at once.
  void write(const char* buffer, std::size_t offset, std::size_t length);
  /// The same with one deadline over the whole call.
  void write(const char* buffer, std::size_t offset, std::size_t length,
             const unsigned long long* timeOut);
  /// Reads until `length` bytes stand at `buffer + offset` or the peer closes; returns their
  /// number.
  std::size_t read(char* buffer, std::size_t offset, std::size_t length);
  /// One receive of at most `length` bytes; 0 when the peer has closed, or when `length` is 0. When
  /// only a few bytes are asked for, the socket receives more and keeps them for the next receives.
  std::size_t readOnce(char* buffer, std::size_t offset, std::size_t length);
  /// Whether a receive would return at once: bytes, an end of file or an error wait. Waits for that
  /// at most so many milliseconds.
  [[nodiscard]] bool isReadable(unsigned long long milliseconds = 0) const;

  /// Waits until a listed socket is ready or the limit passes; takes those that are not ready out
  /// of the lists and returns the number left.
  static std::size_t select(std::list<Socket>& readable, std::list<Socket>& writable,
                            std::list<Socket>& failed, const unsigned long long* timeOut);

 private:
  struct Connection;
  [[nodiscard]] Connection& connection() const;

  std::shared_ptr<Connection> connection_;
};

}  // namespace orvix::oss
