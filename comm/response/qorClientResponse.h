// SPDX-License-Identifier: Apache-2.0
// The outcome of one request, owned by the caller and filled by the client.
#pragma once

#include <cstdint>
#include <string_view>

#include <unicode/unistr.h>

#include "comm/qorExport.h"
#include "comm/results/qorParseResponse.h"
#include "comm/results/qorSearchResponse.h"
#include "comm/results/qorSelectivityInfo.h"
#include "infra/oss/qorMessage.h"
#include "infra/oss/qorUTF8String.h"

namespace orvix::comm {

class CorvaneClient;

namespace detail {
class HitsOfPiece;
}

/// Result code, status, text and result lists of a reply. Serves one request at a time: reading a
/// reply starts it afresh, so that nothing of an earlier one is read as part of the next. A request
/// that fails before its reply is read leaves it as it was.
/// Owns:    everything it hands out by reference; a copy is deep.
/// Threads: one, together with the client that fills it; for reading hits, too.
class QORCOMM_EXPORT ClientResponse {
 public:
  ClientResponse();
  ClientResponse(const icu::UnicodeString& text, unsigned int resultCode);
  ClientResponse(const ClientResponse&);
  ClientResponse& operator=(const ClientResponse&);
  ~ClientResponse();

  /// Whether the result code is 0; statuses play no part.
  [[nodiscard]] bool success() const { return resultCode_ == 0; }
  /// Of a status request: 0 fine, 1 busy, 2 in error (then see getStatusMessage()).
  [[nodiscard]] unsigned int getStatusCode() const { return statusCode_; }
  [[nodiscard]] oss::Message getStatusMessage() const { return statusMessage_; }
  /// The text of a reply that is text. Valid until the next request.
  [[nodiscard]] const icu::UnicodeString& getContent() const { return content_; }
  SelectivityInfo& getSelectivityInfo() { return selectivityInfo_; }

  /// What has been received; receives nothing.
  SearchResponse& getSearchResponse();
  /// The next results of a streamed reply. The first call after a request returns what came with
  /// it. Later, with `wait`, receives until results are at hand or the stream has ended; without,
  /// receives exactly once; after the end that empties the list, so drain it first or ask
  /// isEndOfStream(). Throws what TamberPerfClient::recv throws and keeps earlier results;
  /// RESTException ERR_INVALID_STATE for a client of another class.
  SearchResponse& getSearchResponse(CorvaneClient& client, bool wait);
  ParseResponse& getParseResponse();
  /// The same for document outcomes, always waiting.
  ParseResponse& getParseResponse(CorvaneClient& client);

  // The rest is for the client that fills the response.

  /// Appends a record; the list takes over the raw key bytes.
  void addSearchResult(const SearchResult& record);
  /// Appends a record.
  void addParseResult(const ParseResult& record);
  void setSelectivityInfo(const SelectivityInfo& info) { selectivityInfo_ = info; }
  void setResultCode(unsigned int code) { resultCode_ = code; }
  [[nodiscard]] unsigned int getResultCode() const { return resultCode_; }
  /// Results appended since the request began or since the last pull.
  [[nodiscard]] unsigned int getResultCount() const { return resultCount_; }
  void setStatusCode(unsigned int code) { statusCode_ = code; }
  void setStatusMessage(const icu::UnicodeString& text) { statusMessage_.setMessageText(text); }
  void setStatusMessage(const oss::Message& message) { statusMessage_ = message; }
  void setResultsPending(bool pending) { resultsPending_ = pending; }
  /// Throws NLSException when memory runs out.
  void appendContent(const icu::UnicodeString& text);
  void clearContent() { content_.remove(); }  ///< makes it empty
  void setSearchResponse(const SearchResponse& list) { searchResponse_ = list; }
  void setParseResponse(const ParseResponse& list) { parseResponse_ = list; }
  /// Forgets the last reply, before the reply to a request of `kind` is read. Only the results of
  /// that kind are emptied: a caller may keep hits while it asks for something else.
  void beginReply(std::uint32_t kind);
  /// Between these two, the first record empties its list, provided that the caller has drained it:
  /// handed-out records stay valid until there is something to put in their place.
  void beginPull() { pulling_ = true; }
  void endPull() { pulling_ = false; }  ///< see beginPull()

 private:
  friend class detail::HitsOfPiece;

  /// A copy of a piece of a reply in which its hits, of which there must be some, may name their
  /// keys. Counts as their first record in the sense of beginPull().
  std::string_view keepPiece(std::string_view piece);
  template <class List, class Record>
  void addTo(List& list, const Record& record);

  unsigned int resultCount_ = 0;
  icu::UnicodeString text_;
  oss::UTF8String textBuffer_;
  unsigned int resultCode_ = 0;
  unsigned int statusCode_ = 0;
  oss::Message statusMessage_;
  SearchResponse searchResponse_;
  SelectivityInfo selectivityInfo_;
  ParseResponse parseResponse_;
  bool resultsPending_ = false;
  bool pulling_ = false;
  icu::UnicodeString content_;
};

}  // namespace orvix::comm
