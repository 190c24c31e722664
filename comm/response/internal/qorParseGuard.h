// SPDX-License-Identifier: Apache-2.0
// What both reply parsers do around a piece: translate failures once, and hand its hits over.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "comm/response/qorClientResponse.h"
#include "comm/results/internal/qorHitAccess.h"
#include "comm/support/internal/qorRaiseSites.h"
#include "infra/oss/qorNLSException.h"

namespace orvix::comm::detail {

/// Runs `parsePiece`; what is already classified passes, any other failure of a record (a required
/// property that is missing, say) becomes ERR_CLIENT_RESP_PARSING with its message behind.
template <class Function>
auto translatingParseFailures(Function parsePiece) {
  try {
    return parsePiece();
  } catch (const RESTException& e) {
    raise(e);
  } catch (const oss::NLSException&) {
    throw;
  } catch (const oss::BaseException& e) {
    raiseAt(sites::REPLY_UNREADABLE, e);
  }
}

/// The hits of one piece on their way into a response, which copies the piece before
/// the first of them.
class HitsOfPiece {
 public:
  HitsOfPiece(std::string_view piece, ClientResponse& response)
      : piece_(piece), response_(response) {}

  /// The hit whose payload is `length` bytes at `at`.
  void add(std::size_t at, std::size_t length, std::uint16_t status) {
    if (kept_.data() == nullptr) kept_ = response_.keepPiece(piece_);
    append(kept_.substr(at, length), status);
  }

  /// The hit whose payload stands elsewhere.
  void add(std::string_view payload, std::uint16_t status) {
    append(response_.keepPiece(payload), status);
  }

 private:
  void append(std::string_view payload, std::uint16_t status) {
    HitAccess::append(response_.searchResponse_, payload, status);
    ++response_.resultCount_;
  }

  std::string_view piece_;
  std::string_view kept_;
  ClientResponse& response_;
};

}  // namespace orvix::comm::detail
