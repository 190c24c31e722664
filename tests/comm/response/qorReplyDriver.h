// SPDX-License-Identifier: Apache-2.0
// Drives a reply parser directly, each piece from exactly sized memory, and renders in one line
// what reached the response: "<hits> | <outcomes> | <estimate> | <content>".
#pragma once

#include <cstdint>
#include <string>

#include "comm/protocol/internal/qorRequestKinds.h"
#include "comm/response/internal/qorRESTResponse.h"
#include "comm/response/internal/qorTamberPerfResponse.h"
#include "comm/response/qorClientResponse.h"
#include "tests/support/qorWireLiterals.h"

namespace orvix::wirelit {

/// "bytes@score/status " per hit, without the score when it is 0 and the status when it is 1.
inline std::string hits(comm::ClientResponse& response) {
  comm::SearchResponse list(response.getSearchResponse());
  std::string all;
  while (list.hasMore()) {
    const comm::SearchResult& hit = list.getNext();
    all.append(reinterpret_cast<const char*>(hit.getRawKey()), hit.getRawKeyLength());
    if (hit.getScore() != 0.0) all += '@' + std::to_string(hit.getScore());
    if (hit.getStatus() > 1) all += '/' + std::to_string(hit.getStatus());
    all += ' ';
  }
  return all;
}

/// "text:messageId " per outcome.
inline std::string outcomes(comm::ClientResponse& response) {
  comm::ParseResponse list(response.getParseResponse());
  std::string all;
  while (list.hasMore()) {
    const comm::ParseResult& outcome = list.getNext();
    all += utf8(outcome.getText()) + ':' + utf8(outcome.getMessage().getMessageID()) + ' ';
  }
  return all;
}

inline std::string render(comm::ClientResponse& response) {
  const comm::SelectivityInfo& info = response.getSelectivityInfo();
  return hits(response) + "| " + outcomes(response) + "| " + std::to_string(info.getValue1()) +
         ',' + std::to_string(info.getValue2()) + ',' + std::to_string(info.getValue3()) + " | " +
         utf8(response.getContent());
}

inline const std::string OK = test::hex("0001");      // header of a success
inline const std::string FAILED = test::hex("0006");  // of a failure
inline const std::string& END = test::END_MARKER;
inline constexpr const char* NOTHING = "| | 1,1,100 | ";  // what render() says of no results

/// The record of one document's outcome.
inline std::string outcome(const std::string& key, unsigned int status = 1) {
  return record(status, pairs({{"Doc", key}}));
}

/// A binary reply: header on construction, then pieces.
struct BinaryReply {
  explicit BinaryReply(std::uint32_t kind)
      : parser(kind, comm::detail::requestKind(kind).resultsExpected) {}
  BinaryReply(std::uint32_t kind, const std::string& header) : BinaryReply(kind) { feed(header); }

  std::int32_t feed(const std::string& piece, bool continued = false, std::uint16_t status = 0) {
    const ExactBytes held(piece);
    return parser.parse(held.data(), held.size(), response, end, continued, status);
  }
  [[nodiscard]] std::string wants() const {
    std::uint32_t wanted = 77777;
    const int finished = parser.getNextReadSize(wanted);
    return finished == 0 ? std::to_string(wanted) : wanted == 77777 ? "finished" : "changed";
  }

  comm::ClientResponse response;
  comm::TamberPerfResponse parser;
  bool end = false;
};

}  // namespace orvix::wirelit
