// SPDX-License-Identifier: Apache-2.0
// The root of the clients: one TCP connection to the server and the settings that govern it.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

#include <unicode/unistr.h>

#include "comm/qorExport.h"
#include "infra/oss/qorSocket.h"

namespace orvix::comm {

/// A connection that is opened when it is needed and kept or reopened per request.
/// Threads: one thread drives one client at a time; clients share nothing that needs a lock. A
/// thread must not be cancelled while it is inside a client.
class QORCOMM_EXPORT CorvaneClient {
 public:
  CorvaneClient(const CorvaneClient&) = delete;
  CorvaneClient& operator=(const CorvaneClient&) = delete;

  /// Time-out for establishing a connection over all addresses of the host, in milliseconds; 0, the
  /// default: none. Name resolution and reads and writes on an open connection are not bounded by
  /// it.
  virtual void setTimeOut(unsigned int milliseconds);
  virtual ~CorvaneClient();

  /// Keep the connection open between requests. Takes effect at the next request.
  void usePeristentConnection(bool persistent);  // Kept: callers link to this spelling.
  /// Gather small requests that expect no reply and write them together: at 50 requests, 10000
  /// bytes, a large document, or the end of a batch. Only then it shows that the server has gone.
  /// What is still gathered when the client is destroyed is lost: end a batch with LAST_DOC_SENT,
  /// then ask for its outcome. Meant for a persistent connection: another one is opened for every
  /// request, gathered or not.
  void useBufferedConnection(bool buffered);
  /// Bounds each step of receiving: the reply's header, then each run of whole records, each text
  /// or each payload, from its first byte awaited to its last; 0, the default: no limit. A reply of
  /// many steps may take longer in all. In milliseconds. Expiry is ERR_SERVER_COMM_TIMEOUT, which
  /// is retried.
  void setReceiveTimeOut(unsigned int milliseconds);
  /// Bounds every single write to the connection; 0, the default: no limit. In milliseconds. Expiry
  /// is ERR_SERVER_COMM_SEND, which is retried.
  void setSendTimeOut(unsigned int milliseconds);

 protected:
  CorvaneClient();
  CorvaneClient(const icu::UnicodeString& host, unsigned int port,
                const oss::Socket::_AddrInfoExternal& addrInfo, bool persistent, bool buffered);

  /// Makes sure that a connection is open. Throws RESTException ERR_CONNECT_SERVER.
  void openConnection();
  /// Closes the connection, if one is open. Never fails.
  void closeConnection() noexcept;
  /// Reads up to `length` bytes to `buffer + offset`: one receive when `once`, else until they are
  /// all there or the peer closes. Returns their number. SocketException passes through;
  /// ERR_SERVER_COMM_TIMEOUT when the receive deadline passes.
  std::size_t readSocket(char* buffer, std::size_t offset, std::size_t length, bool once);
  /// readSocket() of one receive.
  std::size_t readSocketOnce(char* buffer, std::size_t offset, std::size_t length);
  /// Writes `length` bytes from `buffer + offset`. SocketException passes through.
  void writeSocket(const char* buffer, std::size_t offset, std::size_t length);
  /// Waits until the connection can be read. Throws ERR_SERVER_COMM_TIMEOUT after `milliseconds`.
  void probeReceive(unsigned long long milliseconds);
  /// Starts the receive time-out, if one is set, for the reads of a scope.
  class ReceiveStep {
   public:
    /// Borrows `client` for its life.
    explicit ReceiveStep(CorvaneClient& client);
    ~ReceiveStep() { client_.receiveDeadline_.reset(); }
    ReceiveStep(const ReceiveStep&) = delete;
    ReceiveStep& operator=(const ReceiveStep&) = delete;

   private:
    CorvaneClient& client_;
  };

  [[nodiscard]] bool isConnected() const { return connected_; }
  [[nodiscard]] bool isPersistent() const { return persistent_; }
  [[nodiscard]] bool isBuffered() const { return buffered_; }
  [[nodiscard]] const icu::UnicodeString& getHost() const { return host_; }
  [[nodiscard]] unsigned int getPort() const { return port_; }
  [[nodiscard]] const oss::Socket& getSocket() const { return socket_; }

 private:
  oss::Socket socket_;
  std::uint64_t timeOut_ = 0;
  icu::UnicodeString host_;
  unsigned int port_ = 0;
  bool connected_ = false;
  bool persistent_ = false;
  bool buffered_ = false;
  oss::Socket::_AddrInfoExternal addrInfo_{};
  unsigned int receiveTimeOut_ = 0;
  unsigned int sendTimeOut_ = 0;
  std::optional<std::chrono::steady_clock::time_point> receiveDeadline_;
};

}  // namespace orvix::comm
