// SPDX-License-Identifier: Apache-2.0
#include "comm/response/internal/qorTamberPerfResponse.h"

#include <cstdio>
#include <string>
#include <vector>

#include "comm/protocol/internal/qorProbes.h"
#include "comm/protocol/internal/qorRequestKinds.h"
#include "comm/protocol/internal/qorWireStatus.h"
#include "comm/response/internal/qorParseGuard.h"
#include "comm/support/internal/qorRaiseSites.h"
#include "infra/bytes/internal/qorByteReader.h"
#include "infra/oss/internal/qorTextConversion.h"
#include "infra/oss/qorTraceHooks.h"

namespace orvix::comm {

namespace sites = detail::sites;
namespace wire = detail::wire;

namespace {

constexpr std::uint32_t BODY_READ_SIZE = 1024;
constexpr std::uint32_t ERROR_READ_SIZE = 256;
constexpr std::int64_t HEADER_SIZE = wire::RECORD_HEADER_SIZE;
constexpr std::int64_t OVERLONG_RECORD = 32765;  // with OVERLONG_PIECE: taken as the whole piece
constexpr std::int64_t OVERLONG_PIECE = 1025;

// Status codes that a caller of a status request sees.
constexpr unsigned int SERVER_FINE = 0;
constexpr unsigned int SERVER_BUSY = 1;
constexpr unsigned int SERVER_IN_ERROR = 2;

bool isKnownRecordStatus(std::uint16_t status) {
  switch (status) {
    case wire::OK:
    case wire::WITH_SCORE:
    case wire::FAILED:
    case wire::TEXT_FAILED:
    case wire::OK_CHUNKED:
    case wire::CONTINUED:
      return true;
    default:
      return false;
  }
}

/// The bytes of a run that a record claims: those there are, and zeros for those there are not.
class Payload {
 public:
  Payload(std::string_view piece, std::int64_t at, std::int64_t length)
      : length_(oss::cutToU16(static_cast<std::uint64_t>(length))) {
    const auto size = static_cast<std::int64_t>(piece.size());
    if (at + length_ <= size) {
      bytes_ = piece.data() + at;
      return;
    }
    padded_.assign(length_, '\0');
    for (std::int64_t i = 0; at + i < size; ++i) {  // fewer than length_: the run leaves the piece
      padded_[static_cast<std::size_t>(i)] = piece[static_cast<std::size_t>(at + i)];
    }
    bytes_ = padded_.data();
  }

  [[nodiscard]] std::string_view bytes() const { return {bytes_, length_}; }

  void decodeInto(GenRespRecord& record, std::uint16_t status) const {
    record.decode(reinterpret_cast<const unsigned char*>(bytes_), length_,
                  static_cast<short>(status));
  }

 private:
  std::uint16_t length_;
  const char* bytes_ = nullptr;
  std::vector<char> padded_;
};

}  // namespace

/// A record's header and where its payload stands.
struct TamberPerfResponse::Record {
  bool complete = false;
  std::uint16_t status = 0;
  std::int64_t payload = 0;
  std::int64_t length = 0;
};

TamberPerfResponse::TamberPerfResponse(std::uint32_t requestKind, bool resultsExpected)
    : RESTResponse(requestKind, true), resultsExpected_(resultsExpected) {
  TamberPerfResponse::reset(false);
}

void TamberPerfResponse::begin(std::uint32_t requestKind, bool resultsExpected) {
  RESTResponse::begin(requestKind, true);
  resultsExpected_ = resultsExpected;
  TamberPerfResponse::reset(false);
}

void TamberPerfResponse::reset(bool streaming) {
  state_ = streaming ? State::AFTER_HEADER : State::HEADER;
  chunked_ = false;
  errorFlag_ = false;
}

int TamberPerfResponse::getNextReadSize(std::uint32_t& wanted) const {
  const bool noMoreWanted = (!resultsExpected_ && statusCode_ == wire::OK) ||
                            (statusCode_ == wire::WITH_SCORE && requestKind_ == kinds::GET_STATUS);
  switch (state_) {
    case State::HEADER:
      wanted = wire::REPLY_HEADER_SIZE;
      return 0;
    case State::AFTER_HEADER:
      wanted = statusCode_ == wire::FAILED ? ERROR_READ_SIZE : BODY_READ_SIZE;
      if (noMoreWanted) wanted = 0;
      return 0;
    case State::BODY:
      wanted = BODY_READ_SIZE;
      return 0;
    case State::FINISHED:
      break;
  }
  return 1;
}

std::uint32_t TamberPerfResponse::parseHeader(const char* buffer, std::uint32_t length,
                                              [[maybe_unused]] ClientResponse& response) {
  const oss::TraceScope trace(detail::probes::PARSE_HEADER);
  oss::flightRecord(detail::probes::PARSE_HEADER, buffer, length);
  if (length == 0) detail::raiseAt(sites::HEADER_EMPTY);
  oss::ByteReader reader({buffer, length});
  const auto status = reader.u16();
  if (!status) return length;
  statusCode_ = *status;  // an unknown one is dealt with when the body is parsed
  state_ = State::AFTER_HEADER;
  return oss::cutToU32(reader.remaining());
}

std::int32_t TamberPerfResponse::parse(const char* buffer, std::uint32_t length,
                                       ClientResponse& response, bool& endOfStream, bool continued,
                                       std::uint16_t continuedStatus) {
  return detail::translatingParseFailures([&] {
    return parseState({buffer, length}, response, endOfStream, continued, continuedStatus);
  });
}

std::int32_t TamberPerfResponse::parseState(std::string_view piece, ClientResponse& response,
                                            bool& endOfStream, bool continued,
                                            std::uint16_t continuedStatus) {
  const std::uint32_t length = oss::cutToU32(piece.size());
  if (state_ == State::FINISHED) detail::raiseAt(sites::REPLY_UNREADABLE);
  if (state_ == State::HEADER) {
    return static_cast<std::int32_t>(parseHeader(piece.data(), length, response));
  }
  contentLength_ = length;
  state_ = State::BODY;
  std::int32_t left = 0;
  switch (statusCode_) {
    case wire::OK:
      response.setResultCode(0);
      left = parseSuccess(piece, response, endOfStream, continued, continuedStatus);
      break;
    case wire::WITH_SCORE:
      parseBusy(response, endOfStream);
      break;
    case wire::FAILED:
      parseFailure(piece, response, endOfStream);
      break;
    case wire::INVALID_AUTH:
      detail::raiseAt(sites::STATUS_UNAUTHORIZED);
    default:
      detail::raiseAt(sites::STATUS_UNKNOWN);
  }
  if (endOfStream) state_ = State::FINISHED;
  return left;
}

std::int32_t TamberPerfResponse::parseSuccess(std::string_view piece, ClientResponse& response,
                                              bool& endOfStream, bool continued,
                                              std::uint16_t continuedStatus) {
  const char* bytes = piece.data();
  const std::uint32_t length = contentLength_;
  if (detail::isSearch(requestKind_)) {
    return parseStreamSearch(bytes, length, response, endOfStream);
  }
  switch (requestKind_) {
    case kinds::PARSE_RESULT:
      return parseParseResult(bytes, length, response, endOfStream);
    case kinds::SELECTIVITY:
      return parseSelectivity(bytes, length, response, endOfStream);
    case kinds::GET_SERVER_VERSION:
      return parseContent(bytes, length, response, endOfStream, false, 0);
    case kinds::COLLECTION_STATUS:
      return parseContent(bytes, length, response, endOfStream, continued, continuedStatus);
    case kinds::GET_STATUS:
      response.setStatusCode(SERVER_FINE);
      endOfStream = true;
      return 0;
    default:
      break;  // no body
  }
  if (!resultsExpected_ && contentLength_ == 0) {
    state_ = State::FINISHED;
    endOfStream = true;
  }
  return 0;
}

void TamberPerfResponse::parseBusy(ClientResponse& response, bool& endOfStream) const {
  response.setResultCode(0);
  if (requestKind_ != kinds::GET_STATUS) detail::raiseAt(sites::STATUS_5_UNEXPECTED);
  response.setStatusCode(SERVER_BUSY);
  endOfStream = true;
}

void TamberPerfResponse::parseFailure(std::string_view piece, ClientResponse& response,
                                      bool& endOfStream) {
  RESTException failure = detail::serverFailure();
  parseErrorBody(piece.data(), oss::cutToU32(piece.size()), failure);
  if (requestKind_ != kinds::GET_STATUS) detail::raise(failure);
  response.setResultCode(0);
  response.setStatusCode(SERVER_IN_ERROR);
  response.setStatusMessage(failure.getErrorMessage());
  endOfStream = true;
}

void TamberPerfResponse::parseErrorBody(const char* buffer, std::uint32_t length,
                                        RESTException& failure) {
  const std::string_view bytes(buffer, length);
  const std::size_t claimed = oss::paddedU16(bytes, 0);
  const std::string_view pairs = bytes.size() > wire::ERROR_LENGTH_SIZE
                                     ? bytes.substr(wire::ERROR_LENGTH_SIZE, claimed)
                                     : std::string_view();
  failure.decode(reinterpret_cast<const unsigned char*>(pairs.data()), oss::cutToU16(pairs.size()),
                 static_cast<short>(wire::FAILED));
}

/// Reads the record header at `at`. `at` moves behind the header of a complete record and, for one
/// rare cut record, behind its header too; else it stays.
TamberPerfResponse::Record TamberPerfResponse::frame(std::string_view piece,
                                                     std::int64_t& at) const {
  Record record;
  const auto size = static_cast<std::int64_t>(piece.size());
  if (size - at < HEADER_SIZE) return record;
  record.status = oss::loadU16(piece.data() + at);
  record.length = oss::loadU16(piece.data() + at + 2);
  record.payload = at + HEADER_SIZE;
  const std::int64_t end = record.payload + record.length;
  record.complete = end <= size;
  if (record.complete) {
    at = record.payload;
  } else if (state_ == State::BODY && record.length < size) {
    // Kept: so close to the end the header of the cut record counts as consumed.
    if (size - record.length < HEADER_SIZE) at = record.payload;
  } else if (record.length >= OVERLONG_RECORD && size >= OVERLONG_PIECE) {
    // Kept: a record that its length field cannot say is taken to be the whole piece.
    record.complete = true;
    record.length = size;
    at = record.payload;
  }
  return record;
}

/// Walks the records of `piece`. `store(record, at, left)` decodes one; `at` stands behind its
/// header and the callback may lengthen the record. Returns the bytes not consumed.
template <class Store>
std::int32_t TamberPerfResponse::forEachRecord(std::string_view piece, bool& endOfStream,
                                               Store store) {
  const auto size = static_cast<std::int64_t>(piece.size());
  std::int64_t at = 0;
  while (at != size) {
    Record record = frame(piece, at);
    if (!record.complete) break;
    if (record.status == wire::OK && record.length == 0) {
      endOfStream = true;
      break;
    }
    store(record);
    at += record.length;
  }
  return static_cast<std::int32_t>(size - at);
}

std::int32_t TamberPerfResponse::parseStreamSearch(const char* buffer, std::uint32_t length,
                                                   ClientResponse& response, bool& endOfStream) {
  const oss::TraceScope trace(detail::probes::PARSE_SEARCH);
  if (length == 0) detail::raiseAt(sites::SEARCH_EMPTY);
  const std::string_view piece(buffer, length);
  detail::HitsOfPiece hits(piece, response);
  return forEachRecord(piece, endOfStream, [&](const Record& record) {
    // A record with status 6 is a server error that travels on as the result's status.
    const auto at = static_cast<std::size_t>(record.payload);
    const std::size_t taken = oss::cutToU16(static_cast<std::uint64_t>(record.length));
    if (at + taken <= piece.size()) {
      hits.add(at, taken, record.status);
    } else {
      hits.add(Payload(piece, record.payload, record.length).bytes(), record.status);
    }
  });
}

std::int32_t TamberPerfResponse::parseParseResult(const char* buffer, std::uint32_t length,
                                                  ClientResponse& response, bool& endOfStream) {
  const oss::TraceScope trace(detail::probes::PARSE_OUTCOMES);
  if (length == 0) detail::raiseAt(sites::PARSE_RESULT_EMPTY);
  const std::string_view piece(buffer, length);
  const auto size = static_cast<std::int64_t>(length);
  bool tookRest = false;
  const std::int32_t left = forEachRecord(piece, endOfStream, [&](Record& record) {
    const std::int64_t next = record.payload + record.length;
    if (size - next >= HEADER_SIZE && !isKnownRecordStatus(oss::paddedU16(piece, next))) {
      // Kept: what follows is no record, so this one runs to the end of the piece.
      record.length = size - record.payload;
      tookRest = true;
    }
    ParseResult outcome(true);
    Payload(piece, record.payload, record.length).decodeInto(outcome, record.status);
    response.addParseResult(outcome);
  });
  return tookRest ? -1 : left;
}

std::int32_t TamberPerfResponse::parseSelectivity(const char* buffer, std::uint32_t length,
                                                  ClientResponse& response, bool& endOfStream) {
  const oss::TraceScope trace(detail::probes::PARSE_SELECTIVITY);
  if (length == 0) detail::raiseAt(sites::SELECTIVITY_EMPTY);
  const std::string_view piece(buffer, length);
  return forEachRecord(piece, endOfStream, [&](const Record& record) {
    SelectivityInfo info;
    Payload(piece, record.payload, record.length).decodeInto(info, record.status);
    response.setSelectivityInfo(info);
  });
}

std::int32_t TamberPerfResponse::parseContent(const char* buffer, std::uint32_t length,
                                              ClientResponse& response, bool& endOfStream,
                                              bool continued, std::uint16_t continuedStatus) {
  const oss::TraceScope trace(detail::probes::PARSE_CONTENT);
  if (length == 0) {
    endOfStream = true;
    detail::raiseAt(sites::CONTENT_EMPTY);
  }
  const std::string_view piece(buffer, length);
  std::string_view rest = piece;  // from the payload to the end of the piece
  std::uint16_t status = continuedStatus;
  std::size_t textLength = length;
  if (!continued) {
    oss::ByteReader reader(piece);
    const auto recordStatus = reader.u16();
    const auto recordLength = reader.u16();
    if (!recordStatus || !recordLength || reader.remaining() < *recordLength) {
      endOfStream = true;
      detail::raiseAt(sites::CONTENT_ENVELOPE);
    }
    status = *recordStatus;
    textLength = *recordLength;
    rest = piece.substr(wire::RECORD_HEADER_SIZE);
  }
  if (status == wire::FAILED || status == wire::TEXT_FAILED) {
    endOfStream = true;
    RESTException failure = detail::serverFailure();
    parseErrorBody(rest.data(), oss::cutToU32(rest.size()), failure);
    detail::raise(failure);
  }
  if (status != wire::OK) return static_cast<std::int32_t>(rest.size());
  response.appendContent(oss::textFromWire(rest.substr(0, textLength)));
  endOfStream = true;
  return static_cast<std::int32_t>(rest.size() - textLength);
}

void TamberPerfResponse::printState(const icu::UnicodeString& context) const {
  const int expected = resultsExpected_ ? 1 : 0;
  std::fprintf(stderr,
               " <Printing State for context  %s Req : %u response StatCode : %u"
               " << ResultsExpected : %d Resp State=: %u ResultsExpected:%d  Content Len %u***>>\n",
               oss::utf8(context).c_str(), requestKind_, statusCode_, expected,
               static_cast<unsigned int>(state_), expected, contentLength_);
}

}  // namespace orvix::comm
