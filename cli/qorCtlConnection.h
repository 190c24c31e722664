// SPDX-License-Identifier: Apache-2.0
// The one connection of a call: a client set up from the options, and requests over it. Every
// request that is answered passes here, so that an incomplete reply is a failure everywhere.
#pragma once

#include <functional>
#include <string>

#include "cli/qorCtlSettings.h"
#include "qorcomm.h"

namespace orvix::ctl {

/// "search books at 127.0.0.1:4000": what messages begin with.
[[nodiscard]] std::string requestText(const Settings& settings);

/// A client that knows how often it has tried the request at hand.
class CountingClient : public comm::TamberPerfClient {
 public:
  using TamberPerfClient::TamberPerfClient;
  void startCounting() { attempts_ = 0; }
  [[nodiscard]] unsigned int attempts() const { return attempts_; }

 protected:
  void sendAndRecvMesgOnce(comm::ClientRequest& request, comm::ClientResponse& response) override {
    ++attempts_;
    TamberPerfClient::sendAndRecvMesgOnce(request, response);
  }

 private:
  unsigned int attempts_ = 0;
};

/// Connects at the first request.
/// Throws: what the library throws, and CtlFailure: PROTOCOL for an incomplete reply, REFUSED for a
///         result code, LOCAL_FILE and USAGE for the token file.
class Connection {
 public:
  using Kind = comm::ClientRequest::REQUEST;
  using OutcomeHandler = std::function<void(const comm::ParseResult&)>;

  /// Reads the token file, if there is one.
  explicit Connection(const Settings& settings);

  /// The request text of its settings.
  [[nodiscard]] const std::string& where() const { return where_; }
  /// The same for failures: a request that was repeated says how often it was tried.
  [[nodiscard]] std::string triedText() const;
  [[nodiscard]] comm::TamberPerfClient& client() { return client_; }
  /// What every request carries: the token, when there is one.
  [[nodiscard]] const util::ExtendedProperties& properties() const { return properties_; }

  /// One request to the server, and its whole reply.
  void run(Kind kind, comm::ClientResponse& response);
  /// The same for a collection. `key` and content go with `request` when the caller has set them.
  void run(comm::ClientRequest& request, comm::ClientResponse& response);
  /// Sends only: for a request that nobody answers, and one whose reply the caller pulls.
  void send(comm::ClientRequest& request, comm::ClientResponse& response);
  /// Hands over every outcome that the server holds for the collection, as they come.
  void forEachOutcome(const icu::UnicodeString& collection, const OutcomeHandler& handle);
  /// To be asked when the last result of a pulled reply was handed out.
  void requireComplete() const;

 private:
  std::string where_;
  CountingClient client_;
  util::ExtendedProperties properties_;
};

}  // namespace orvix::ctl
