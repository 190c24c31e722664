// SPDX-License-Identifier: Apache-2.0
#include "bench/qorInside.h"

#include <cstdint>
#include <cstring>
#include <stdexcept>

#include "comm/request/internal/qorRESTMessage.h"
#include "comm/response/internal/qorReplyFraming.h"
#include "comm/response/internal/qorTamberPerfResponse.h"
#include "infra/oss/internal/qorTextConversion.h"

namespace orvix::bench {

namespace {

constexpr std::string_view SUCCESS("\0\x01", 2);

void parse(comm::TamberPerfResponse& parser, std::string_view piece, comm::ClientResponse& response,
           bool& ended) {
  const auto size = static_cast<std::uint32_t>(piece.size());
  const std::int32_t left = parser.parse(piece.data(), size, response, ended);
  if (left > 0 && !ended) throw std::logic_error("the parser left bytes of whole records behind");
}

}  // namespace

ReplyParser::ReplyParser() = default;
ReplyParser::~ReplyParser() = default;

void ReplyParser::begin(comm::ClientResponse& response) {
  parser_ = std::make_unique<comm::TamberPerfResponse>(comm::kinds::STREAM_SEARCH, true);
  ended_ = false;
  response.beginReply(comm::kinds::STREAM_SEARCH);
  parse(*parser_, SUCCESS, response, ended_);
}

void ReplyParser::append(std::string_view records, comm::ClientResponse& response) {
  parse(*parser_, records, response, ended_);
}

void ReplyParser::pull(std::string_view records, comm::ClientResponse& response) {
  parser_->reset(true);
  response.beginPull();
  parse(*parser_, records, response, ended_);
  response.endPull();
}

std::size_t headerLength(comm::ClientRequest& request) {
  comm::RESTMessage message(request);
  return std::string_view(message.getHeaderText()).size();
}

std::size_t bodyLength(comm::ClientRequest& request) {
  return comm::RESTMessage(request).getBodyLength();
}

std::size_t wholeRecords(std::string_view held) {
  return comm::detail::cutRecords(held, false).whole;
}

std::size_t toWire(const icu::UnicodeString& text, char* out, std::size_t capacity) {
  return oss::textToWire(text, out, capacity);
}

icu::UnicodeString fromWire(std::string_view bytes) { return oss::textFromWire(bytes); }

}  // namespace orvix::bench
