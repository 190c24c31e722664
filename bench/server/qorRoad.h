// SPDX-License-Identifier: Apache-2.0
// The whole road: a server process of its own, and the library that talks to it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <unicode/unistr.h>

#include "bench/server/qorMeasures.h"
#include "comm/request/qorClientRequest.h"
#include "comm/response/qorClientResponse.h"
#include "comm/transport/qorTamberPerfClient.h"

namespace orvix::bench {

/// A client's connection to one collection of a server on this machine.
/// Errors:  the library's exceptions; runtime_error for a document that was not
///         indexed.
class Road {
 public:
  Road(unsigned int port, const char* collection);

  void create();
  /// Hands a document over without awaiting an answer.
  void add(std::string_view key, std::string_view content);
  /// Ends the batch and fetches what became of its documents.
  void endBatch(std::size_t documents);
  /// Commits whatever was begun.
  void settle();
  /// A request that can be sent again and again.
  [[nodiscard]] comm::ClientRequest searchRequest(const std::string& query, unsigned wanted) const;
  /// The keys of the hits, best first.
  [[nodiscard]] Ranking search(comm::ClientRequest& request);
  /// The same; reads all there is of each hit and keeps only their number.
  std::size_t countHits(comm::ClientRequest& request);

 private:
  void ask(comm::ClientRequest::REQUEST kind);

  icu::UnicodeString collection_;
  comm::TamberPerfClient client_;
  comm::ClientRequest document_;
  comm::ClientResponse response_;
};

}  // namespace orvix::bench
