// SPDX-License-Identifier: Apache-2.0
#include "comm/response/qorClientResponse.h"

#include "comm/protocol/internal/qorRequestKinds.h"
#include "infra/oss/internal/qorTextConversion.h"

namespace orvix::comm {

ClientResponse::ClientResponse() = default;
ClientResponse::ClientResponse(const icu::UnicodeString& text, unsigned int resultCode)
    : text_(text), resultCode_(resultCode) {}
ClientResponse::ClientResponse(const ClientResponse&) = default;
ClientResponse& ClientResponse::operator=(const ClientResponse&) = default;
ClientResponse::~ClientResponse() = default;

SearchResponse& ClientResponse::getSearchResponse() {
  resultsPending_ = false;
  return searchResponse_;
}

ParseResponse& ClientResponse::getParseResponse() {
  resultsPending_ = false;
  return parseResponse_;
}

void ClientResponse::appendContent(const icu::UnicodeString& text) {
  content_.append(text);
  oss::requireText(content_);
}

template <class List, class Record>
void ClientResponse::addTo(List& list, const Record& record) {
  if (pulling_ && list.count() == 0) {
    list.restart(record);
  } else {
    list.append(record);
  }
  pulling_ = false;
  ++resultCount_;
}

void ClientResponse::addSearchResult(const SearchResult& record) { addTo(searchResponse_, record); }

void ClientResponse::addParseResult(const ParseResult& record) { addTo(parseResponse_, record); }

std::string_view ClientResponse::keepPiece(std::string_view piece) {
  const std::string_view kept =
      searchResponse_.keep(piece, pulling_ && searchResponse_.count() == 0);
  pulling_ = false;
  return kept;
}

void ClientResponse::beginReply(std::uint32_t kind) {
  resultCount_ = 0;
  resultCode_ = 0;
  statusCode_ = 0;
  statusMessage_.clear();
  resultsPending_ = false;
  pulling_ = false;
  clearContent();
  if (detail::isSearch(kind)) searchResponse_.reset();
  if (kind == kinds::PARSE_RESULT) parseResponse_.reset();
  if (kind == kinds::SELECTIVITY) selectivityInfo_ = SelectivityInfo();
}

}  // namespace orvix::comm
