// SPDX-License-Identifier: Apache-2.0
#include "comm/response/internal/qorRESTResponse.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "comm/protocol/internal/qorProbes.h"
#include "comm/protocol/internal/qorRequestKinds.h"
#include "comm/protocol/internal/qorWords.h"
#include "comm/response/internal/qorParseGuard.h"
#include "comm/results/internal/qorServerMessage.h"
#include "comm/support/internal/qorRaiseSites.h"
#include "infra/bytes/internal/qorByteReader.h"
#include "infra/oss/internal/qorTextConversion.h"
#include "infra/oss/qorStringTokenizer.h"
#include "infra/oss/qorTraceHooks.h"

namespace orvix::comm {

using icu::UnicodeString;
namespace sites = detail::sites;
namespace words = detail::words;

namespace {

constexpr std::uint32_t HEADER_READ_SIZE = 256;
constexpr std::uint32_t CHUNK_LINE_READ_SIZE = 16;
constexpr std::size_t LENGTH_SIZE = 4;  // length words of this framing are u32
constexpr std::uint32_t HTTP_OK = 200;
constexpr std::uint32_t HTTP_BAD_REQUEST = 400;
constexpr std::uint32_t HTTP_UNAUTHORIZED = 401;
constexpr std::uint32_t HTTP_SERVER_ERROR = 500;

std::string_view behind(std::string_view bytes, std::size_t count) {
  return bytes.substr(std::min(count, bytes.size()));
}

std::uint32_t sizeOf(std::string_view bytes) { return oss::cutToU32(bytes.size()); }

/// Bytes up to and including the blank line, or all of them when it is not there. A zero byte ends
/// the header too.
std::size_t headerLength(std::string_view bytes) {
  std::size_t at = 0;
  bool lineEnded = true;  // a buffer that starts with CR holds nothing but the blank line
  while (at < bytes.size() && bytes[at] != '\0') {
    const bool lineEnd = bytes[at] == '\r';
    at += lineEnd ? 2 : 1;  // the byte behind a CR is taken as its LF
    if (lineEnd && lineEnded) return std::min(at, bytes.size());
    lineEnded = lineEnd;
  }
  return std::min(at + 1, bytes.size());
}

constexpr long MOST = 0xffffffffL;

/// The number that `digits` starts with, 0 when there is none; what 32 bits cannot say saturates.
std::uint32_t leadingNumber(const char* digits, int base) {
  return static_cast<std::uint32_t>(std::clamp(std::strtol(digits, nullptr, base), 0L, MOST));
}

std::uint32_t leadingNumber(const UnicodeString& text) {
  return leadingNumber(oss::utf8(text).c_str(), 10);
}

/// The length word at the start of `body` and the record behind it, when that is all there.
struct CountedRecord {
  explicit CountedRecord(std::string_view body)
      : length(oss::paddedU32(body, 0)),
        whole(body.size() >= LENGTH_SIZE + length),
        bytes(whole ? body.substr(LENGTH_SIZE, length) : std::string_view()) {}

  /// What is left of `body` behind the record; all of it when the record is not whole.
  [[nodiscard]] std::uint32_t rest(std::string_view body) const {
    return whole ? oss::cutToU32(body.size() - LENGTH_SIZE - length) : sizeOf(body);
  }

  std::uint64_t length;
  bool whole;
  std::string_view bytes;
};

const unsigned char* dataOf(std::string_view bytes) {
  return reinterpret_cast<const unsigned char*>(bytes.data());
}

void decodeInto(GenRespRecord& record, std::string_view bytes) {
  record.decode(dataOf(bytes), oss::cutToU16(bytes.size()), 0);
}

std::uint32_t parseSelectivity(std::string_view body, ClientResponse& response) {
  const oss::TraceScope trace(detail::probes::PLAIN_SELECTIVITY);
  oss::flightRecord(detail::probes::PLAIN_SELECTIVITY, body.data(), body.size());
  const CountedRecord record(body);
  if (record.whole) {
    SelectivityInfo info;
    decodeInto(info, record.bytes);
    response.setSelectivityInfo(info);
  }
  return record.rest(body);
}

std::uint32_t parseStatus(std::string_view body, ClientResponse& response) {
  const oss::TraceScope trace(detail::probes::PLAIN_STATUS);
  oss::flightRecord(detail::probes::PLAIN_STATUS, body.data(), body.size());
  const CountedRecord record(body);
  std::uint32_t code = 0;
  if (record.whole) {
    util::ExtendedProperties properties;
    detail::decodePairs(record.bytes.substr(0, oss::cutToU16(record.bytes.size())), properties);
    code = properties.requirePropertyAsUInt32(words::STATUS_CODE);
  }
  response.setStatusCode(code);
  return record.rest(body);
}

}  // namespace

RESTResponse::RESTResponse(std::uint32_t requestKind, bool streaming) {
  begin(requestKind, streaming);
}

void RESTResponse::begin(std::uint32_t requestKind, bool streaming) {
  requestKind_ = requestKind;
  RESTResponse::reset(streaming);
}

void RESTResponse::reset(bool streaming) {
  streaming_ = streaming;
  state_ = streaming ? State::AFTER_HEADER : State::HEADER;
  chunked_ = streaming;
  statusCode_ = streaming ? HTTP_OK : 0;  // the continuation of a stream has no status line
  errorFlag_ = false;
  contentLength_ = 0;
}

int RESTResponse::getNextReadSize(std::uint32_t& wanted) const {
  switch (state_) {
    case State::HEADER:
      wanted = HEADER_READ_SIZE;
      return 0;
    case State::AFTER_HEADER:
      wanted = CHUNK_LINE_READ_SIZE;
      return 0;
    case State::BODY:
      wanted = contentLength_;
      return 0;
    case State::FINISHED:
      break;
  }
  return 1;
}

std::uint32_t RESTResponse::parse(const char* buffer, std::uint32_t length,
                                  ClientResponse& response, bool& endOfStream) {
  return detail::translatingParseFailures(
      [&] { return parseState(buffer, length, response, endOfStream); });
}

std::uint32_t RESTResponse::parseState(const char* buffer, std::uint32_t length,
                                       ClientResponse& response, bool& endOfStream) {
  switch (state_) {
    case State::FINISHED:
      detail::raiseAt(sites::REPLY_UNREADABLE);
    case State::HEADER:
      return parseHeader(buffer, length, response);
    case State::BODY:
      return parseContent(buffer, streaming_ ? length : std::min(length, contentLength_), response,
                          endOfStream);
    case State::AFTER_HEADER:
      break;
  }
  const std::uint32_t consumed = chunked_ ? parseChunkSize({buffer, length}) : 0;
  if (state_ != State::BODY) errorFlag_ = true;
  return length - consumed;
}

/// Reads "1a\r\n" or "\r\n1a\r\n" into contentLength_ and returns the bytes it took.
std::uint32_t RESTResponse::parseChunkSize(std::string_view bytes) {
  std::size_t at = 0;
  if (!bytes.empty() && bytes[0] == '\r') at = bytes.size() > 1 && bytes[1] == '\n' ? 2 : 1;
  std::array<char, 128> digits{'0', 'x'};
  std::size_t count = 2;
  while (at < bytes.size()) {
    if (bytes[at] == '\r' && at + 1 < bytes.size() && bytes[at + 1] == '\n') {
      at += 2;
      break;
    }
    if (count + 1 < digits.size()) digits[count++] = bytes[at];  // a longer line is cut
    ++at;
  }
  digits[count] = '\0';
  contentLength_ = leadingNumber(digits.data(), 0);
  state_ = State::BODY;
  return oss::cutToU32(at);
}

std::uint32_t RESTResponse::parseHeader(const char* buffer, std::uint32_t length,
                                        [[maybe_unused]] ClientResponse& response) {
  const oss::TraceScope trace(detail::probes::PLAIN_HEADER);
  oss::flightRecord(detail::probes::PLAIN_HEADER, buffer, length);
  const std::string_view bytes(buffer, length);
  const std::size_t header = headerLength(bytes);
  parseHeaderLines(bytes.substr(0, header));
  std::string_view rest = bytes.substr(header);
  if (chunked_) rest = behind(rest, parseChunkSize(rest));
  return sizeOf(rest);
}

void RESTResponse::parseHeaderLines(std::string_view header) {
  oss::StringTokenizer lines(oss::textFromWire(header), "\n");
  if (!lines.hasMoreTokens()) {
    errorFlag_ = true;
    return;
  }
  parseStatusLine(lines.getFirstTokenString());
  while (lines.hasMoreTokens()) parseHeaderLine(lines.getNextTokenString());
}

void RESTResponse::parseStatusLine(const UnicodeString& line) {
  oss::StringTokenizer tokens(line, " ");
  tokens.getFirstTokenString();  // the protocol's version
  statusCode_ = leadingNumber(tokens.getNextTokenString());
  state_ = State::AFTER_HEADER;
}

void RESTResponse::parseHeaderLine(const UnicodeString& line) {
  const std::int32_t at = line.indexOf(words::CONTENT_LENGTH_REPLY);
  if (at >= 0) {
    contentLength_ = leadingNumber(
        line.tempSubString(at + words::CONTENT_LENGTH_REPLY.length() + 1));  // skips the colon
    state_ = State::BODY;
  } else if (line.indexOf(words::TRANSFER_ENCODING) >= 0) {
    chunked_ = true;  // Kept: whatever the line's value is.
  }
}

std::uint32_t RESTResponse::parseContent(const char* buffer, std::uint32_t length,
                                         ClientResponse& response, bool& endOfStream) {
  const oss::TraceScope trace(detail::probes::PLAIN_CONTENT);
  oss::flightRecord(detail::probes::PLAIN_CONTENT, buffer, length);
  if (statusCode_ == HTTP_OK) response.setResultCode(0);
  if (contentLength_ == 0) {
    state_ = State::FINISHED;
    endOfStream = true;
    return 0;
  }
  const std::string_view piece(buffer, length);
  if (statusCode_ != HTTP_OK) raiseStatus(piece);
  const std::uint32_t left = parseBody(piece, response, endOfStream);
  state_ = State::FINISHED;
  return left;
}

void RESTResponse::raiseStatus(std::string_view piece) {
  if (statusCode_ == HTTP_BAD_REQUEST) detail::raiseAt(sites::HTTP_BAD_REQUEST);
  if (statusCode_ == HTTP_UNAUTHORIZED) detail::raiseAt(sites::HTTP_UNAUTHORIZED);
  if (statusCode_ != HTTP_SERVER_ERROR) detail::raiseAt(sites::HTTP_UNKNOWN);
  RESTException failure = detail::serverFailure();
  const std::string_view record = behind(piece, LENGTH_SIZE);
  parseErrorBody(record.data(), sizeOf(record), failure);
  detail::raise(failure);
}

std::uint32_t RESTResponse::parseBody(std::string_view piece, ClientResponse& response,
                                      bool& endOfStream) {
  // The body of a reply that is no stream starts with a word that nobody reads.
  const std::string_view body = behind(piece, LENGTH_SIZE);
  const std::string_view records = streaming_ ? piece : body;
  if (detail::isSearch(requestKind_)) {
    return parseStreamSearch(records.data(), sizeOf(records), response, endOfStream);
  }
  if (requestKind_ == kinds::PARSE_RESULT) {
    return parseParseResult(records.data(), sizeOf(records), response, endOfStream);
  }
  if (requestKind_ == kinds::SELECTIVITY) return parseSelectivity(body, response);
  if (requestKind_ == kinds::GET_STATUS) return parseStatus(body, response);
  return 0;
}

std::uint32_t RESTResponse::parseStreamSearch(const char* buffer, std::uint32_t length,
                                              ClientResponse& response, bool& endOfStream) {
  const oss::TraceScope trace(detail::probes::PLAIN_SEARCH);
  oss::flightRecord(detail::probes::PLAIN_SEARCH, buffer, length);
  if (length == 0) {
    std::fputs(" [WARN]: parseStreamSearch !!: 0 len for resp\n", stderr);
    endOfStream = true;
    return 0;
  }
  std::string_view rest(buffer, length);
  detail::HitsOfPiece hits(rest, response);
  while (rest.size() >= LENGTH_SIZE) {  // a shorter tail is a length word that is still to come
    const CountedRecord record(rest);
    if (record.length == 0) {
      endOfStream = true;
      break;
    }
    if (!record.whole) break;
    hits.add(length - rest.size() + LENGTH_SIZE, oss::cutToU16(record.bytes.size()), 0);
    rest = behind(rest, LENGTH_SIZE + record.length);
  }
  return sizeOf(rest);
}

std::uint32_t RESTResponse::parseParseResult(const char* buffer, std::uint32_t length,
                                             ClientResponse& response, bool& endOfStream) {
  const oss::TraceScope trace(detail::probes::PLAIN_OUTCOMES);
  oss::flightRecord(detail::probes::PLAIN_OUTCOMES, buffer, length);
  std::string_view rest(buffer, length);
  while (!rest.empty()) {
    const CountedRecord record(rest);
    if (record.whole && record.length == 0) {
      endOfStream = true;
      break;
    }
    if (!record.whole) detail::raiseAt(sites::REPLY_UNREADABLE);
    ParseResult outcome(true);
    decodeInto(outcome, record.bytes);
    response.addParseResult(outcome);
    rest = behind(rest, LENGTH_SIZE + record.length);
  }
  return sizeOf(rest);
}

void RESTResponse::parseErrorBody(const char* buffer, std::uint32_t length,
                                  RESTException& failure) {
  if (length == 0) return;
  const CountedRecord record(std::string_view(buffer, length));
  if (record.whole) decodeInto(failure, record.bytes);
}

}  // namespace orvix::comm
