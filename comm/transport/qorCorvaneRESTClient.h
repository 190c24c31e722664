// SPDX-License-Identifier: Apache-2.0
// The request cycle: one call runs an attempt and repeats it after communication failures.
#pragma once

#include <cstdint>

#include <unicode/unistr.h>

#include "comm/qorExport.h"
#include "comm/request/qorClientRequest.h"
#include "comm/response/qorClientResponse.h"
#include "comm/support/qorSizeableBuffer.h"
#include "comm/transport/qorCorvaneClient.h"

namespace orvix::comm {

class RESTMessage;

/// A client that knows requests and replies but not their bytes: those are the derived class's.
/// Throws: RESTException for whatever fails, NLSException when memory for a text runs out.
class QORCOMM_EXPORT CorvaneRESTClient : public CorvaneClient {
 public:
  CorvaneRESTClient();
  CorvaneRESTClient(const icu::UnicodeString& host, unsigned int port,
                    const oss::Socket::_AddrInfoExternal& addrInfo, bool persistent);
  CorvaneRESTClient(const icu::UnicodeString& host, unsigned int port, bool persistent);
  ~CorvaneRESTClient() override;

  /// How often a failed attempt may be repeated; 1 by default, 0: never.
  virtual void setNumRetries(unsigned int retries);
  /// Receives the next part of a streamed reply into `response`.
  virtual void recv(ClientResponse& response) = 0;

  /// Sends `request` and reads its reply into `response`. Throws RESTException; see its id.
  /// Failures of connecting, sending, receiving and of time are retried on a new connection, so a
  /// request that succeeds was carried out at least once; what the server refused is not retried.
  void sendAndRecvMesg(ClientRequest& request, ClientResponse& response);
  /// Whether a failure with this id is worth another attempt.
  [[nodiscard]] bool isRetryableError(const icu::UnicodeString& messageId) const;

 protected:
  // One attempt and its steps. Their failures are RESTException and NLSException only.
  /// One attempt, from connecting to the end of the reply or, when streamed, its first results.
  virtual void sendAndRecvMesgOnce(ClientRequest& request, ClientResponse& response) = 0;
  /// Frames the message, and writes it or gathers it.
  virtual void sendMesg(RESTMessage& message) = 0;
  /// Starts `response` afresh and receives the reply's header.
  virtual void recvMesg(ClientResponse& response) = 0;
  /// Receives the next piece of the reply; sets endOfStream behind the last.
  virtual void recvStream(ClientResponse& response) = 0;

  // Kept: derived clients use these by name.
  // NOLINTBEGIN(misc-non-private-member-variables-in-classes, readability-identifier-naming)
  bool endOfStream = false;                      ///< the reply has been read to its end
  bool requestActive = false;                    ///< a request is under way, or the last one failed
  icu::UnicodeString clientName;                 ///< tells clients apart in a debugger
  std::uint32_t requestType = 0;                 ///< kind of the request in progress
  icu::UnicodeString requestString;              ///< its operation name
  oss::SizeableBuffer<char, 0x4000> sendBuffer;  ///< for derived clients
  unsigned int numRetries = 1;                   ///< attempts after the first
  // NOLINTEND(misc-non-private-member-variables-in-classes, readability-identifier-naming)
};

}  // namespace orvix::comm
