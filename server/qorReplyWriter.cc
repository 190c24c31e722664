// SPDX-License-Identifier: Apache-2.0
// All integers pass through the shared big-endian writer.
#include "server/qorReplyWriter.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "comm/protocol/internal/qorWireStatus.h"
#include "infra/bytes/internal/qorByteReader.h"
#include "infra/bytes/internal/qorByteWriter.h"
#include "server/qorServerWords.h"

namespace orvix::server {

namespace {

namespace wire = comm::detail::wire;

constexpr double THOUSANDTHS = 1000.0;

void putU16(std::string& out, std::uint16_t value) {
  std::array<char, 2> bytes{};
  oss::storeU16(bytes.data(), value);
  out.append(bytes.data(), bytes.size());
}

void putU32(std::string& out, std::uint32_t value) {
  std::array<char, 4> bytes{};
  oss::storeU32(bytes.data(), value);
  out.append(bytes.data(), bytes.size());
}

void putLength(std::string& out, std::size_t length) { putU16(out, oss::cutToU16(length)); }

std::uint16_t thousandths(double score) noexcept {
  const double scaled = std::round(std::max(0.0, score) * THOUSANDTHS);
  return static_cast<std::uint16_t>(std::min(scaled, static_cast<double>(wire::MAX_U16)));
}

void putFault(std::string& out, const Fault& fault) {
  putPair(out, words().messageId, messageIdText(fault.id));
  putPair(out, words().messageText, cutAtCharacter(fault.text, MAX_MESSAGE_TEXT));
}

void putErrorBody(std::string& out, const Fault& fault) {
  std::string pairs;
  putFault(pairs, fault);
  putLength(out, pairs.size());
  out += pairs;
}

bool continuesCharacter(char byte) noexcept {
  return (static_cast<unsigned char>(byte) & 0xc0U) == 0x80U;
}

}  // namespace

std::string_view cutAtCharacter(std::string_view text, std::size_t limit) noexcept {
  if (text.size() <= limit) return text;
  std::size_t end = limit;
  while (end > 0 && continuesCharacter(text[end])) --end;
  return text.substr(0, end);
}

void putStatus(std::string& out, std::uint16_t status) { putU16(out, status); }

void putRecord(std::string& out, std::uint16_t status, std::string_view payload) {
  putU16(out, status);
  putLength(out, payload.size());
  out += payload;
}

void putEndMarker(std::string& out) { putRecord(out, wire::OK, {}); }

void putPair(std::string& out, std::string_view key, std::string_view value) {
  putLength(out, key.size());
  out += key;
  putLength(out, value.size());
  out += value;
}

void putScoredHit(std::string& out, double score, std::string_view key) {
  putU16(out, wire::WITH_SCORE);
  putLength(out, sizeof(std::uint16_t) + key.size());
  putU16(out, thousandths(score));
  out += key;
}

void putHit(std::string& out, std::string_view key) { putRecord(out, wire::OK, key); }

void putOutcome(std::string& out, std::string_view key, const Fault* fault) {
  std::string pairs;
  putPair(pairs, words().doc, key);
  if (fault != nullptr) putFault(pairs, *fault);
  putRecord(out, wire::OK, pairs);
}

void putSelectivity(std::string& out, std::uint32_t estimated, std::uint32_t lowerBound,
                    std::uint32_t documents) {
  std::string payload;
  putU32(payload, estimated);
  putU32(payload, documents);
  putU32(payload, lowerBound);
  putRecord(out, wire::OK, payload);
}

void putError(std::string& out, const Fault& fault) {
  putU16(out, wire::FAILED);
  putErrorBody(out, fault);
}

void putErrorRecord(std::string& out, const Fault& fault) {
  std::string body;
  putErrorBody(body, fault);
  putRecord(out, wire::FAILED, body);
}

void putChunks(std::string& out, std::string_view text) {
  while (text.size() > CHUNK_DATA) {
    putRecord(out, wire::OK_CHUNKED, text.substr(0, CHUNK_DATA));
    text.remove_prefix(CHUNK_DATA);
  }
  putRecord(out, wire::OK, text);
}

}  // namespace orvix::server
