// SPDX-License-Identifier: Apache-2.0
// From a message to bytes on the connection: framing, gathering and writing.
#include <algorithm>
#include <cstring>

#include "comm/protocol/internal/qorProbes.h"
#include "comm/protocol/internal/qorRequestKinds.h"
#include "comm/protocol/internal/qorWireStatus.h"
#include "comm/request/internal/qorRESTMessage.h"
#include "comm/support/internal/qorRaiseSites.h"
#include "comm/transport/internal/qorGatherBlock.h"
#include "comm/transport/qorTamberPerfClient.h"
#include "infra/bytes/internal/qorByteReader.h"
#include "infra/bytes/internal/qorByteWriter.h"
#include "infra/oss/qorNLSException.h"
#include "infra/oss/qorSocketException.h"
#include "infra/oss/qorTraceHooks.h"

namespace orvix::comm {

namespace sites = detail::sites;

namespace {

constexpr std::size_t LARGE_CONTENT = 10000;   // more than this is written from the caller's memory
constexpr std::size_t CONTENT_PIECE = 10000;   // in pieces of at most this
constexpr std::size_t CONTENT_HEAD = 5000;     // of which so much goes with a frame that is short
constexpr std::size_t GATHER_BYTES = 10000;    // a batch is written at this many bytes
constexpr std::uint32_t GATHER_MESSAGES = 50;  // or this many messages

/// The pieces of one message, and which of its content bytes travel in the gather block.
struct Frame {
  Frame(RESTMessage& message, std::uint32_t kind, std::size_t oldFill)
      : header(message.getHeaderText()) {
    header = header.substr(0, oss::cutToU16(header.size()));  // Kept: the length field cuts it
    if (kind == kinds::LAST_DOC_SENT) {
      body = {message.getTerminator(), message.getTerminatorLength()};
      if (body.empty()) detail::raiseAt(sites::EMPTY_TERMINATOR);
    } else if (message.getBodyLength() != 0) {
      body = {message.getBody(), message.getBodyLength()};
      const char* bytes = message.getContent();
      content = {bytes, bytes == nullptr ? 0 : message.getContentLength()};
    }
    newFill = oldFill + detail::wire::FRAME_LENGTH_SIZE + header.size() + body.size();
    if (!isLarge()) {
      inBlock = content.size();
    } else if (newFill < CONTENT_HEAD) {
      inBlock = CONTENT_HEAD;
    }
    newFill += inBlock;
  }

  [[nodiscard]] bool isLarge() const { return content.size() > LARGE_CONTENT; }

  std::string_view header;
  std::string_view body;
  std::string_view content;
  std::size_t inBlock = 0;  // content bytes that are laid into the gather block
  std::size_t newFill = 0;
};

void layOut(const Frame& frame, detail::GatherBlock& gathered) {
  gathered.reserve(frame.newFill);
  oss::ByteWriter out(gathered.data() + gathered.fill(), frame.newFill - gathered.fill());
  out.u16(oss::cutToU16(frame.header.size()));
  out.bytes(frame.header);
  out.bytes(frame.body);
  out.bytes(frame.content.substr(0, frame.inBlock));
}

}  // namespace

void TamberPerfClient::sendMesg(RESTMessage& message) {
  const oss::TraceScope trace(detail::probes::SEND_MESSAGE);
  const detail::Peer peer{getHost(), getPort()};
  try {
    const Frame frame(message, requestType, gathered_->fill());
    layOut(frame, *gathered_);
    const std::uint32_t messages =
        detail::framedMessages.fetch_add(1, std::memory_order_relaxed) + 1;
    const bool stays = isBuffered() && frame.newFill < GATHER_BYTES &&
                       requestType != kinds::LAST_DOC_SENT && !frame.isLarge() &&
                       messages < GATHER_MESSAGES;
    if (stays) {
      gathered_->setFill(frame.newFill);
    } else {
      refreshConnection();
      positionUnknown_ = true;
      writeSocket(gathered_->data(), 0, frame.newFill);
      const std::string_view rest = frame.content.substr(frame.inBlock);
      for (std::size_t at = 0; at < rest.size(); at += CONTENT_PIECE) {
        writeSocket(rest.data(), at, std::min(CONTENT_PIECE, rest.size() - at));
      }
      detail::framedMessages.store(0, std::memory_order_relaxed);
      gathered_->setFill(0);
    }
    if (detail::isUnanswered(requestType)) settleConnection(true);
  } catch (const RESTException& e) {
    detail::raise(e);
  } catch (const oss::NLSException&) {
    throw;
  } catch (const oss::SocketException&) {
    detail::raiseAt(sites::SEND_SOCKET, peer);
  } catch (const oss::BaseException& e) {
    detail::raiseAtHost(sites::SEND_INTERNAL, peer, e);
  }
}

/// Writes what is still gathered: nobody waits for the reply to a request that was never sent.
void TamberPerfClient::flushGathered() {
  if (gathered_->fill() == 0) return;
  refreshConnection();
  try {
    positionUnknown_ = true;
    writeSocket(gathered_->data(), 0, gathered_->fill());
  } catch (const oss::SocketException&) {
    detail::raiseAt(sites::SEND_SOCKET, {getHost(), getPort()});
  }
  detail::framedMessages.store(0, std::memory_order_relaxed);
  gathered_->setFill(0);
}

}  // namespace orvix::comm
