// SPDX-License-Identifier: Apache-2.0
// What both reply parsers do around a piece: translate failures once, and own a hit's key bytes.
#pragma once

#include "comm/results/qorSearchResult.h"
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

/// A hit under construction. Frees its raw key bytes unless a list has taken them over.
class DecodedHit {
 public:
  DecodedHit() = default;
  DecodedHit(const DecodedHit&) = delete;
  DecodedHit& operator=(const DecodedHit&) = delete;
  ~DecodedHit() { record.releaseRawKey(); }

  template <class Response>
  void giveTo(Response& response) {
    response.addSearchResult(record);
    record.adoptRawKey(nullptr, 0);
  }

  SearchResult record;
};

}  // namespace orvix::comm::detail
