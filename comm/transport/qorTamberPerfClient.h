// SPDX-License-Identifier: Apache-2.0
// The client that callers use: it frames, batches and sends requests and reads their replies.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include <unicode/unistr.h>

#include "comm/qorExport.h"
#include "comm/support/qorSizeableBuffer.h"
#include "comm/transport/qorCorvaneRESTClient.h"

namespace orvix::comm {

class TamberPerfResponse;

namespace detail {
class GatherBlock;
}

/// A client of the full-text server at host and port.
/// By default the connection is persistent, nothing is buffered, nothing is bounded in time and one
/// retry is allowed. Connects at the first request.
/// Nothing in a header line is escaped: keep line feeds and NULs out of property keys and values (a
/// line feed starts a line of its own, and the header ends at a NUL).
/// Documents sent by ASYNC_ADD_DOCUMENT over a connection that the server has closed meanwhile are
/// lost: end a batch with LAST_DOC_SENT, then ask with PARSE_RESULT.
class QORCOMM_EXPORT TamberPerfClient : public CorvaneRESTClient {
 public:
  TamberPerfClient(const icu::UnicodeString& host, unsigned int port,
                   const oss::Socket::_AddrInfoExternal& addrInfo);
  TamberPerfClient(const icu::UnicodeString& host, unsigned int port);
  ~TamberPerfClient() override;

  /// Receives the next part of a streamed reply. Throws RESTException: ERR_CONNECT_SERVER without a
  /// connection, ERR_INVALID_STATE after a failed request, or what reading raises. After the end of
  /// the stream it hands out an empty list and reads nothing.
  void recv(ClientResponse& response) override;
  [[nodiscard]] bool isEndOfStream() const { return endOfStream; }

  /// Whether the last reply ended by its own framing; a refusal that was read to its end did. False
  /// while a stream is open, after any other failure, and when the peer merely closed at a record
  /// boundary: then results may be missing. A request that is never answered counts as complete
  /// once it is sent or gathered.
  [[nodiscard]] bool isReplyComplete() const { return replyComplete_; }

  /// When on, a streamed search and the outcomes of a batch return as soon as results are at hand;
  /// the caller pulls the rest through the response's getters, in bounded memory. Off by default:
  /// then a request returns with the whole reply. A stream may be abandoned: the next request then
  /// runs on a new connection.
  void useStreamedResults(bool streamed) { streamedResults_ = streamed; }

 protected:
  void sendAndRecvMesgOnce(ClientRequest& request, ClientResponse& response) override;
  void sendMesg(RESTMessage& message) override;
  void recvMesg(ClientResponse& response) override;
  void recvStream(ClientResponse& response) override;
  /// Reads one chunked payload and returns its length.
  /// Shape:   { status: u16, size: u16, data }* until status is OK; OK_CHUNKED before that.
  /// Appends: to the start of `buffer`, which grows.
  /// Throws:  RESTException ERR_SERVER_PROTOCOL; SocketException passes through.
  std::size_t readPayload(oss::SizeableBuffer<char, 0x8000>& buffer);

 private:
  void attempt(ClientRequest& request, ClientResponse& response);
  void openUsableConnection();
  void refreshConnection();
  void flushGathered();
  std::size_t receive(std::size_t offset, std::size_t length);
  void receiveNext(ClientResponse& response);
  void receiveRestOfHeader(std::uint32_t wanted, ClientResponse& response);
  void receivePayload(ClientResponse& response);
  void receiveUnit(std::uint32_t wanted, ClientResponse& response);
  void parseHeaderBytes(std::size_t held, ClientResponse& response);
  void parseUnit(std::size_t length, std::size_t held, ClientResponse& response);
  void endByPeer(std::size_t held, ClientResponse& response);
  void settleReply(bool nothingBehind);
  void settleConnection(bool nothingBehind);

  std::unique_ptr<TamberPerfResponse> response_;
  std::uint32_t leftover_ = 0;  // bytes at the start of recvBuffer_
  oss::SizeableBuffer<char, 0x8000> recvBuffer_;
  std::unique_ptr<detail::GatherBlock> gathered_;
  bool streamedResults_ = false;
  bool earlierConnection_ = false;  // opened by an earlier request, and not looked at since
  bool positionUnknown_ = false;    // bytes of a request or a reply may be under way: do not reuse
  bool replyComplete_ = false;
  bool estimateSeen_ = false;  // of this reply
};

}  // namespace orvix::comm
