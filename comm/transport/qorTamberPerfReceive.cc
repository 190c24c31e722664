// SPDX-License-Identifier: Apache-2.0
// From the connection to the parser. The parser says how much it wants and what the bytes mean;
// this collects them into whole units, so that the parser never sees a record that is still on its
// way.
#include <algorithm>
#include <cstring>
#include <new>

#include "comm/protocol/internal/qorProbes.h"
#include "comm/protocol/internal/qorRequestKinds.h"
#include "comm/protocol/internal/qorWireStatus.h"
#include "comm/response/internal/qorReplyFraming.h"
#include "comm/response/internal/qorTamberPerfResponse.h"
#include "comm/support/internal/qorRaiseSites.h"
#include "comm/transport/qorTamberPerfClient.h"
#include "infra/bytes/internal/qorByteReader.h"
#include "infra/oss/qorSocketException.h"
#include "infra/oss/qorTraceHooks.h"

namespace orvix::comm {

namespace sites = detail::sites;
namespace wire = detail::wire;
using State = RESTResponse::State;

namespace {

constexpr std::size_t BUFFER_SIZE = 0x8000;
constexpr std::size_t READ_AHEAD = 4;  // times what the parser wants; the surplus waits as leftover

/// Kinds whose stream stays open when the parser has nothing more to say.
bool isResultStream(std::uint32_t kind) {
  return kind == kinds::STREAM_SEARCH || kind == kinds::PARSE_RESULT ||
         kind == kinds::SELECTIVITY || kind == kinds::SCALAR_SEARCH;
}

/// The first whole unit of what is held of a reply with `status`.
detail::UnitCut cutUnit(std::uint32_t kind, std::uint32_t status, std::string_view held) {
  if (status == wire::FAILED) return detail::cutErrorBody(held);
  const bool onlyOne = kind == kinds::PARSE_RESULT || kind == kinds::GET_SERVER_VERSION;
  return detail::cutRecords(held, onlyOne);
}

}  // namespace

void TamberPerfClient::recvMesg(ClientResponse& response) {
  const oss::TraceScope trace(detail::probes::RECV_MESSAGE);
  response.beginReply(requestType);
  recvBuffer_.resize(BUFFER_SIZE);  // back in place after an earlier, larger reply
  estimateSeen_ = false;
  if (detail::isUnanswered(requestType)) {
    endOfStream = true;
    return;
  }
  const ReceiveStep step(*this);
  std::uint32_t wanted = 0;
  if (response_->getNextReadSize(wanted) != 0) detail::raiseAt(sites::COMPLETE_BEFORE_READING);
  const detail::Peer peer{getHost(), getPort()};
  std::size_t got = 0;
  try {
    got = readSocketOnce(recvBuffer_.data(), 0, wanted);
  } catch (const oss::SocketException&) {
    detail::raiseAt(sites::RECV_HEADER, peer);
  }
  if (got == 0) detail::raiseAt(sites::RECV_HEADER, peer);
  parseHeaderBytes(got, response);
}

void TamberPerfClient::recvStream(ClientResponse& response) {
  const oss::TraceScope trace(detail::probes::RECV_STREAM);
  if (endOfStream) {
    if (requestType == kinds::PARSE_RESULT) {
      response.setParseResponse(ParseResponse());
    } else {
      response.setSearchResponse(SearchResponse());
    }
    return;
  }
  const ReceiveStep step(*this);
  try {
    receiveNext(response);
  } catch (...) {
    // Part of a unit may be lost: what follows must not be read as if it were the next.
    endOfStream = true;
    throw;
  }
}

void TamberPerfClient::receiveNext(ClientResponse& response) {
  std::uint32_t wanted = 0;
  const bool finished = response_->getNextReadSize(wanted) != 0;
  if (finished && !isResultStream(requestType)) {
    endOfStream = true;
    return;
  }
  const std::uint32_t status = response_->getStatusCode();
  if (response_->getState() == State::HEADER) {
    receiveRestOfHeader(wanted, response);
  } else if (wanted == 0 || (status != wire::OK && status != wire::FAILED)) {
    parseUnit(0, leftover_, response);  // nothing is awaited: a receive would wait for ever
  } else if (requestType == kinds::COLLECTION_STATUS && status == wire::OK) {
    receivePayload(response);
  } else {
    receiveUnit(wanted, response);
  }
}

/// One receive to `offset` of the receive buffer; 0 when the peer has closed.
std::size_t TamberPerfClient::receive(std::size_t offset, std::size_t length) {
  try {
    return readSocketOnce(recvBuffer_.data(), offset, length);
  } catch (const oss::SocketException&) {
    detail::raiseAt(sites::RECV_STREAM, {getHost(), getPort()});
  }
}

/// Exactly the missing byte, without read-ahead: what follows the header depends on it.
void TamberPerfClient::receiveRestOfHeader(std::uint32_t wanted, ClientResponse& response) {
  const std::size_t held = leftover_;
  const std::size_t got = receive(held, wanted - held);
  if (got == 0) detail::raiseAt(sites::RECV_STREAM, {getHost(), getPort()});
  parseHeaderBytes(held + got, response);
}

void TamberPerfClient::parseHeaderBytes(std::size_t held, ClientResponse& response) {
  const auto left =
      response_->parse(recvBuffer_.data(), oss::cutToU32(held), response, endOfStream);
  leftover_ = left > 0 ? static_cast<std::uint32_t>(left) : 0;
  std::memmove(recvBuffer_.data(), recvBuffer_.data() + held - leftover_, leftover_);
}

void TamberPerfClient::receivePayload(ClientResponse& response) {
  std::size_t length = 0;
  try {
    length = readPayload(recvBuffer_);
  } catch (const oss::SocketException&) {
    detail::raiseAt(sites::RECV_STREAM, {getHost(), getPort()});
  }
  response_->parse(recvBuffer_.data(), oss::cutToU32(length), response, endOfStream, true,
                   wire::OK);
  recvBuffer_.resize(BUFFER_SIZE);  // a large payload is not kept until the next request
  if (endOfStream) settleReply(true);
}

void TamberPerfClient::receiveUnit(std::uint32_t wanted, ClientResponse& response) {
  std::size_t held = leftover_;
  for (;;) {
    const detail::UnitCut cut =
        cutUnit(requestType, response_->getStatusCode(), {recvBuffer_.data(), held});
    if (cut.whole != 0) {
      estimateSeen_ = estimateSeen_ || cut.hasData;
      return parseUnit(cut.whole, held, response);
    }
    // Grows as bytes arrive, not as a length promises them; at most to the longest unit.
    if (held == recvBuffer_.length()) recvBuffer_.resize(std::min(cut.needed, 2 * held));
    if (recvBuffer_.data() == nullptr) throw std::bad_alloc();
    const std::size_t room = recvBuffer_.length() - held;
    const std::size_t got = receive(held, std::min(READ_AHEAD * wanted, room));
    if (got == 0) return endByPeer(held, response);
    held += got;
  }
}

/// Hands the first `length` of the `held` bytes to the parser; the rest is leftover. The unit
/// counts as consumed whatever the parser makes of it.
void TamberPerfClient::parseUnit(std::size_t length, std::size_t held, ClientResponse& response) {
  const bool nothingBehind = length == held;
  leftover_ = 0;
  try {
    response_->parse(recvBuffer_.data(), oss::cutToU32(length), response, endOfStream);
  } catch (const RESTException& e) {
    if (e.isServerReported()) settleReply(nothingBehind);
    throw;
  }
  leftover_ = oss::cutToU32(held - length);
  std::memmove(recvBuffer_.data(), recvBuffer_.data() + length, leftover_);
  if (endOfStream) settleReply(nothingBehind);
}

/// The peer has closed. At the end of a record that is how a stream may end; inside one it is not.
/// Either way the connection is not used again, so nothing is settled here.
void TamberPerfClient::endByPeer(std::size_t held, ClientResponse& response) {
  endOfStream = true;
  leftover_ = 0;
  const bool failed = response_->getStatusCode() == wire::FAILED;
  const bool noEstimate = requestType == kinds::SELECTIVITY && !estimateSeen_;
  if (failed || requestType == kinds::GET_SERVER_VERSION || (held == 0 && noEstimate)) {
    response_->parse(recvBuffer_.data(), oss::cutToU32(held), response, endOfStream);
  } else if (held != 0) {
    detail::raiseAt(sites::RECV_STREAM, {getHost(), getPort()});
  }
}

std::size_t TamberPerfClient::readPayload(oss::SizeableBuffer<char, 0x8000>& buffer) {
  const oss::TraceScope trace(detail::probes::READ_PAYLOAD);
  std::size_t total = 0;
  for (;;) {
    char field[sizeof(std::uint16_t)];
    const auto readField = [&](const detail::Site& tooShort) {
      // Kept: a field that does not come with one receive is an error, not awaited further.
      if (readSocketOnce(field, 0, sizeof field) != sizeof field) detail::raiseAt(tooShort);
      return oss::paddedU16({field, sizeof field}, 0);
    };
    const std::uint16_t status = readField(sites::CHUNK_STATUS_SHORT);
    if (status != wire::OK && status != wire::OK_CHUNKED) {
      detail::raiseAt(sites::CHUNK_STATUS_UNKNOWN);
    }
    std::size_t left = readField(sites::CHUNK_SIZE_SHORT);
    do {  // in pieces, so that the buffer grows as bytes arrive, not as a size promises them
      const std::size_t inPlace = total < BUFFER_SIZE ? BUFFER_SIZE - total : total;
      const std::size_t piece = std::min(left, inPlace);
      buffer.resize(total + piece);
      if (buffer.data() == nullptr || buffer.length() < total + piece ||
          readSocket(buffer.data(), total, piece, false) < piece) {
        detail::raiseAt(sites::CHUNK_DATA_SHORT);
      }
      total += piece;
      left -= piece;
    } while (left != 0);
    if (status == wire::OK) return total;
  }
}

}  // namespace orvix::comm
