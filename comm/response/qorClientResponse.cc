// SPDX-License-Identifier: Apache-2.0
#include "comm/response/qorClientResponse.h"

#include "comm/protocol/internal/qorRequestKinds.h"

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

void ClientResponse::addSearchResult(const SearchResult& record) {
  if (pulling_ && searchResponse_.count() == 0) searchResponse_.reset();
  pulling_ = false;
  searchResponse_.append(record);
  ++resultCount_;
}

void ClientResponse::addParseResult(const ParseResult& record) {
  if (pulling_ && parseResponse_.count() == 0) parseResponse_.reset();
  pulling_ = false;
  parseResponse_.append(record);
  ++resultCount_;
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
