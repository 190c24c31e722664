// SPDX-License-Identifier: Apache-2.0
#include "tests/comm/transport/qorTransportKit.h"

#include <cstdio>
#include <exception>
#include <utility>

#include "infra/oss/qorNLSException.h"
#include "infra/util/qorExtendedProperties.h"

namespace orvix::test {

using comm::ClientRequest;
using comm::ClientResponse;

namespace {

std::string number(std::size_t value) { return std::to_string(value); }

}  // namespace

ClientRequest plainRequest(std::uint32_t kind) {
  ClientRequest request;
  request.buildRequest(static_cast<ClientRequest::REQUEST>(kind), util::ExtendedProperties());
  return request;
}

DocumentRequest::DocumentRequest(std::uint32_t kind, std::string key, std::string content)
    : ClientRequest(plainRequest(kind)), key_(std::move(key)), content_(std::move(content)) {
  setDocKey(key_.data(), static_cast<unsigned int>(key_.size()));
  setContent({}, content_.data(), static_cast<unsigned int>(content_.size()));
}

std::string frameOf(const std::string& action, const std::string& accessClass,
                    const std::string& body) {
  return requestFrame("action: " + action + "\nactionType: " + accessClass + "\nver: 1.1\n", body);
}

std::string documentFrame(const std::string& key, const std::string& content) {
  const std::string records = run("rowId") + run(key);
  return frameOf("asyncAddDocument", "update",
                 bodyOf(content.empty() ? records : records + run("data") + run(content)));
}

std::string times(const std::string& bytes, std::size_t count) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i) all += bytes;
  return all;
}

std::string hits(comm::SearchResponse& list) {
  std::string line;
  while (list.hasMore()) {
    const comm::SearchResult& hit = list.getNext();
    char rest[32];
    std::snprintf(rest, sizeof rest, " %.3f %u)", hit.getScore(), unsigned{hit.getStatus()});
    line += " hit(" + text(hit.getKey()).substr(sizeof "base64:" - 1) + rest;
  }
  return line;
}

std::string documents(comm::ParseResponse& list) {
  std::string line;
  while (list.hasMore()) {
    const comm::ParseResult& result = list.getNext();
    line += " doc(" + text(result.getText()) + ' ' + inOneLine(result.getMessage()) + ')';
  }
  return line;
}

std::string raised(const OpenClient& client, const std::function<void()>& act) {
  try {
    act();
    return "ok";
  } catch (const comm::RESTException& e) {
    std::string line = inOneLine(e);
    const std::string port = '|' + number(client.getPort()) + ']';
    if (const auto at = line.find(port); at != line.npos) line.replace(at, port.size(), "|PORT]");
    return e.isServerReported() ? line + " (server)" : line;
  } catch (const oss::NLSException&) {
    return "NLSException";
  } catch (const std::exception& e) {
    return std::string("another exception: ") + e.what();
  }
}

std::string outcome(OpenClient& client, const ClientRequest& asked, ClientResponse* kept) {
  ClientRequest request(asked);
  ClientResponse own;
  ClientResponse& response = kept != nullptr ? *kept : own;
  std::string line = raised(client, [&] { client.sendAndRecvMesg(request, response); });
  line += client.isReplyComplete() ? " complete" : " incomplete";
  if (!client.isEndOfStream()) line += " open";
  if (response.getStatusCode() != 0) line += " status=" + number(response.getStatusCode());
  const std::string message = inOneLine(response.getStatusMessage());
  if (!message.empty()) line += " message=" + message;
  if (!response.getContent().isEmpty()) line += " text=" + text(response.getContent());
  if (response.getResultCount() != 0) line += " count=" + number(response.getResultCount());
  if (response.getResultCode() != 0) line += " code=" + number(response.getResultCode());
  line += hits(response.getSearchResponse()) + documents(response.getParseResponse());
  if (request.getRequestType() == comm::kinds::SELECTIVITY) {
    const comm::SelectivityInfo& estimate = response.getSelectivityInfo();
    line += " estimate(" + number(estimate.getValue1()) + ' ' + number(estimate.getValue2()) + ' ' +
            number(estimate.getValue3()) + ')';
  }
  return line;
}

std::string errorOf(const std::string& outcome) {
  return outcome.substr(0, outcome.find(" incomplete"));
}

}  // namespace orvix::test
