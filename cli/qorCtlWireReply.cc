// SPDX-License-Identifier: Apache-2.0
// Replies: a status, then what the kind of request has behind it.
#include <cstdio>
#include <string>

#include "cli/qorCtlText.h"
#include "cli/qorCtlWireExplain.h"

namespace orvix::ctl {

namespace {

constexpr std::uint16_t OK = 1;
constexpr std::uint16_t SCORED = 5;  // as the reply's status: busy
constexpr std::uint16_t FAILED = 6;
constexpr std::uint16_t TEXT_FAILED = 9;
constexpr std::uint16_t MORE_CHUNKS = 14;
constexpr std::uint16_t NOT_AUTHORISED = 401;
constexpr std::size_t STATUS_SIZE = sizeof(std::uint16_t);
constexpr double SCORE_UNIT = 1000;

void explainText(WireReader& in, const std::string& what) {
  const std::uint16_t length = in.u16(("the length of " + what).c_str());
  if (length <= in.remaining()) in.tell("the length of " + what + ": " + std::to_string(length));
  const std::string_view text = in.bytes(length, what);
  in.tell(what + ": " + inQuotes(text));
}

void explainPairs(WireReader& in) {
  while (in.remaining() != 0) {
    explainText(in, "a key");
    explainText(in, "its value");
  }
}

void explainErrorBody(WireReader& in) {
  const std::uint16_t length = in.u16("the length of the error's pairs");
  if (length <= in.remaining()) {
    in.tell("the length of the error's pairs: " + std::to_string(length));
  }
  in.within(length, "the error's pairs", [&in] { explainPairs(in); });
}

void explainHit(WireReader& in, std::uint16_t status) {
  if (status == FAILED) {
    explainPairs(in);
    return;
  }
  if (status == SCORED) {
    const std::uint16_t score = in.u16("a hit's score");
    char text[48];
    std::snprintf(text, sizeof text, "the hit's score: %.3f", score / SCORE_UNIT);
    in.tell(text);
  }
  const std::string_view key = in.bytes(in.remaining(), "a document's key");
  in.tell("the document's key: " + inQuotes(key));
}

void explainEstimate(WireReader& in) {
  for (const char* what : {"the matches", "the documents in all", "the matches at least"}) {
    const std::uint32_t value = in.u32(what);
    in.tell(std::string(what) + ": " + std::to_string(value));
  }
}

void explainPayload(WireReader& in, ReplyShape shape, std::uint16_t status) {
  switch (shape) {
    case ReplyShape::HITS:
      explainHit(in, status);
      return;
    case ReplyShape::ESTIMATE:
      explainEstimate(in);
      return;
    case ReplyShape::NOTHING:
    case ReplyShape::OUTCOMES:
    case ReplyShape::TEXT:
    case ReplyShape::CHUNKS:
    case ReplyShape::NO_REPLY:
      break;
  }
  explainPairs(in);
}

/// False at the end marker.
bool explainRecord(WireReader& in, ReplyShape shape) {
  if (in.remaining() == 0) in.fault("a record, or the end of the records: 00 01 00 00");
  const std::uint16_t status = in.u16("a record's status");
  const std::uint16_t length = in.u16("a record's length");
  if (status == OK && length == 0) {
    in.tell("the end of the records");
    return false;
  }
  if (length <= in.remaining()) {
    in.tell("record: status " + std::to_string(status) + ", " + std::to_string(length) +
            " bytes follow");
  }
  in.within(length, "the record, as its length says", [&] { explainPayload(in, shape, status); });
  return true;
}

void explainTextRecord(WireReader& in) {
  const std::uint16_t status = in.u16("the text's status");
  if (status != OK && status != FAILED && status != TEXT_FAILED) {
    throw WireFault(in.offset() - STATUS_SIZE,
                    "status 1 (a text), 6 or 9 (an error); it is " + std::to_string(status));
  }
  const std::uint16_t length = in.u16("the text's length");
  if (length <= in.remaining()) {
    in.tell("status " + std::to_string(status) + ", " + std::to_string(length) + " bytes follow");
  }
  in.within(length, "the text, as its length says", [&] {
    if (status != OK) {
      explainErrorBody(in);
      return;
    }
    const std::string_view text = in.bytes(length, "the text");
    in.tell("the text: " + inQuotes(text));
  });
}

void explainChunks(WireReader& in) {
  std::uint16_t status = MORE_CHUNKS;
  while (status != OK) {
    status = in.u16("a chunk's status");
    if (status != OK && status != MORE_CHUNKS) {
      throw WireFault(
          in.offset() - STATUS_SIZE,
          "a chunk's status, 14 (more follow) or 1 (the last); it is " + std::to_string(status));
    }
    const std::uint16_t size = in.u16("a chunk's size");
    if (size <= in.remaining()) {
      in.tell((status == OK ? "the last chunk, " : "chunk, more follow, ") + std::to_string(size) +
              " bytes");
    }
    static_cast<void>(in.bytes(size, "the chunk's data"));
    in.tell("the chunk's data");
  }
}

void explainSuccess(WireReader& in, ReplyShape shape) {
  switch (shape) {
    case ReplyShape::NOTHING:
    case ReplyShape::NO_REPLY:
      return;
    case ReplyShape::HITS:
    case ReplyShape::OUTCOMES:
    case ReplyShape::ESTIMATE:
      while (explainRecord(in, shape)) continue;
      return;
    case ReplyShape::TEXT:
      explainTextRecord(in);
      return;
    case ReplyShape::CHUNKS:
      explainChunks(in);
      return;
  }
}

void explainReply(WireReader& in, const WireKind& kind) {
  const bool mayBeBusy = kind.kind == comm::ClientRequest::GET_STATUS;
  const std::uint16_t status = in.u16("a reply's status");
  switch (status) {
    case OK:
      in.tell("status 1: success");
      explainSuccess(in, kind.reply);
      return;
    case FAILED:
      in.tell(mayBeBusy ? "status 6: in error" : "status 6: refused");
      explainErrorBody(in);
      return;
    case NOT_AUTHORISED:
      in.tell("status 401: the token was refused");
      return;
    case SCORED:
      if (!mayBeBusy) break;
      in.tell("status 5: busy");
      return;
    default:
      break;
  }
  throw WireFault(in.offset() - STATUS_SIZE, std::string("a reply's status: 1, 6 or 401") +
                                                 (mayBeBusy ? " or 5" : "") + "; it is " +
                                                 std::to_string(status));
}

}  // namespace

void explainReplies(std::string_view bytes, const WireKind& kind, const PartSink& sink) {
  WireReader in(bytes, sink);
  if (kind.reply == ReplyShape::NO_REPLY) {
    in.fault("nothing, for " + std::string(kind.name) + " is never answered");
  }
  std::size_t number = 0;
  do {
    in.announce("reply " + std::to_string(++number));
    explainReply(in, kind);
  } while (in.remaining() != 0);
}

}  // namespace orvix::ctl
