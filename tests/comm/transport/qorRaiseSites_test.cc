// SPDX-License-Identifier: Apache-2.0
// The errors that no peer can bring about: it takes a derived client or request, or memory that
// cannot be had.
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <stdexcept>
#include <vector>

#include "comm/request/internal/qorRESTMessage.h"
#include "infra/oss/qorBaseException.h"
#include "infra/oss/qorNLSException.h"
#include "tests/comm/transport/qorTransportKit.h"

namespace orvix::test {
namespace {

using namespace comm::kinds;
using Ids = std::vector<std::string>;

constexpr char UNKNOWN[] = "unknown error from sendandrecvMesgOnce";

oss::BaseException infrastructureFailure() {
  return oss::BaseException(icu::UnicodeString("INFRA", ""), "somewhere", 7);
}
oss::NLSException textFailure() {
  return oss::NLSException(icu::UnicodeString("ES_ERR_OUT_OF_MEMORY", ""), "somewhere", 492);
}

/// A client of which every step can be replaced.
class SteppedClient : public OpenClient {
 public:
  using OpenClient::OpenClient;
  using Step = std::function<void()>;
  Step once;
  Step beforeSending;
  Step receiving;
  Step streaming;
  std::function<void(comm::ClientResponse&)> again;  // behind recvMesg
  std::shared_ptr<comm::RESTMessage> instead;        // of the request's own message

  void receiveHeader(comm::ClientResponse& response) { OpenClient::recvMesg(response); }

 protected:
  void sendAndRecvMesgOnce(comm::ClientRequest& request, comm::ClientResponse& response) override {
    if (once) return once();
    OpenClient::sendAndRecvMesgOnce(request, response);
  }
  void sendMesg(comm::RESTMessage& message) override {
    if (beforeSending) beforeSending();
    OpenClient::sendMesg(instead ? *instead : message);
  }
  void recvMesg(comm::ClientResponse& response) override {
    if (receiving) receiving();
    OpenClient::recvMesg(response);
    if (again) again(response);
  }
  void recvStream(comm::ClientResponse& response) override {
    if (streaming) streaming();
    OpenClient::recvStream(response);
  }
};

class RaiseSite : public testing::Test {
 protected:
  RaiseSite() { client.setNumRetries(3); }

  void send(std::uint32_t kind = GET_STATUS) {
    comm::ClientRequest request = plainRequest(kind);
    client.sendAndRecvMesg(request, response);
  }

  template <class Failure>
  static SteppedClient::Step raising(Failure failure) {
    return [failure] { throw failure; };
  }

  ScriptedPeer peer;
  SteppedClient client{peer};
  comm::ClientResponse response;
};

/// A message whose content cannot be had.
template <class Failure>
class BrokenMessage : public comm::RESTMessage {
 public:
  BrokenMessage(comm::ClientRequest& request, Failure failure)
      : RESTMessage(request), failure_(failure) {}
  const char* getContent() override { throw failure_; }

 private:
  Failure failure_;
};

TEST_F(RaiseSite, AnAttemptThatFailsUnexpectedlyIsAnInternalError) {
  class BrokenRequest : public comm::ClientRequest {
   public:
    const char* getDocKey(unsigned int&) override { throw std::runtime_error("no key"); }
  };
  for (int i = 0; i < 3; ++i) peer.connection().stall();
  BrokenRequest request;
  request.buildRequest(ADD_DOCUMENT, util::ExtendedProperties());
  expectSite([&] { client.sendAndRecvMesg(request, response); }, "ERR_CLIENT_INTERNAL",
             "qorTamberPerfClient", 112, {UNKNOWN});
  for (const auto& step : {raising(infrastructureFailure()), raising(std::bad_alloc())}) {
    client.receiving = step;
    expectSite([&] { send(); }, "ERR_CLIENT_INTERNAL", "qorTamberPerfClient", 112, {UNKNOWN});
  }
  expectSite([&] { client.recv(response); }, "ERR_INVALID_STATE", "qorTamberPerfClient", 137, {});
}

TEST_F(RaiseSite, APullIsRefusedWhileARequestIsUnderWay) {
  peer.connection().expectFrames(1).reply(STATUS_REPLY);
  client.again = [&](comm::ClientResponse& r) { client.recv(r); };
  expectSite([&] { send(); }, "ERR_INVALID_STATE", "qorTamberPerfClient", 137, {});
}

TEST_F(RaiseSite, AReplyThatIsCompleteBeforeItIsReadIsAnInternalError) {
  peer.connection().expectFrames(1).reply(STATUS_REPLY);
  send();
  expectSite([&] { client.receiveHeader(response); }, "ERR_CLIENT_INTERNAL", "qorTamberPerfClient",
             356, {});
}

TEST_F(RaiseSite, APullThatFailsUnexpectedlyIsAnInternalError) {
  peer.connection().expectFrames(1).reply(STATUS_REPLY);
  send();
  for (const auto& step : {raising(infrastructureFailure()), raising(std::bad_alloc()),
                           raising(std::runtime_error("unexpected"))}) {
    client.streaming = step;
    expectSite([&] { client.recv(response); }, "ERR_CLIENT_INTERNAL", "qorTamberPerfClient", 146,
               {UNKNOWN});
  }
}

TEST_F(RaiseSite, ABatchCannotEndWithoutItsMarker) {
  peer.connection().stall();
  comm::ClientRequest other = plainRequest(GET_STATUS);
  client.instead = std::make_shared<comm::RESTMessage>(other);
  expectSite([&] { send(LAST_DOC_SENT); }, "ERR_CLIENT_INTERNAL", "qorTamberPerfClient", 191,
             {"NULL terminator record in sendMesg"});
}

TEST_F(RaiseSite, AnInfrastructureFailureWhileSendingIsAnInternalErrorWithItsCause) {
  peer.connection().stall();
  const std::string content = "content";
  DocumentRequest document(ADD_DOCUMENT, "k", content);
  client.instead =
      std::make_shared<BrokenMessage<oss::BaseException>>(document, infrastructureFailure());
  const auto sending = [&] { client.sendAndRecvMesg(document, response); };
  EXPECT_EQ(expectSite(sending, "ERR_CLIENT_INTERNAL", "qorTamberPerfClient", 285, {HOST}),
            Ids{"INFRA"});
  client.instead = std::make_shared<BrokenMessage<std::bad_alloc>>(document, std::bad_alloc());
  expectSite(sending, "ERR_CLIENT_INTERNAL", "qorTamberPerfClient", 112, {UNKNOWN});
}

TEST_F(RaiseSite, AnInfrastructureFailureOfTheCycleIsAnInternalError) {
  client.once = raising(infrastructureFailure());
  expectSite([&] { send(); }, "ERR_CLIENT_INTERNAL", "qorCorvaneRESTClient", 198, {});
  client.once = raising(std::runtime_error("unexpected"));
  EXPECT_THROW(send(), std::runtime_error) << "anything else passes";
}

TEST_F(RaiseSite, ConnectingWithoutMemoryIsAConnectFailure) {
  const std::string host(2000, 'h');
  OpenClient far(1, host.c_str());
  far.setNumRetries(0);
  comm::ClientRequest request = plainRequest(GET_STATUS);
  expectSite(
      [&] {
        const FailingAllocation failing(2000);
        far.sendAndRecvMesg(request, response);
      },
      "ERR_CONNECT_SERVER", "qorCorvaneClient", 248, {host, "1"});
}

TEST_F(RaiseSite, AFailureOfTextConversionIsNeverTranslated) {
  peer.connection().expectFrames(1).reply(STATUS_REPLY);
  peer.connection().stall();
  send();
  client.streaming = raising(textFailure());
  EXPECT_THROW(client.recv(response), oss::NLSException);
  client.streaming = nullptr;
  DocumentRequest document(ADD_DOCUMENT, "k", "c");
  client.instead = std::make_shared<BrokenMessage<oss::NLSException>>(document, textFailure());
  EXPECT_THROW(client.sendAndRecvMesg(document, response), oss::NLSException);
  client.instead.reset();
  client.receiving = raising(textFailure());
  EXPECT_THROW(send(), oss::NLSException);
  client.once = raising(textFailure());
  EXPECT_THROW(send(), oss::NLSException);
}

TEST_F(RaiseSite, ARetryStartsFromAClosedConnection) {
  peer.connection().expectFrames(1).reply(STATUS_REPLY);
  send();
  std::vector<bool> connected;
  client.once = [&] {
    connected.push_back(client.isConnected());
    throw comm::RESTException(icu::UnicodeString("ERR_SERVER_COMM_SEND", ""), "derived", 7);
  };
  expectSite([&] { send(); }, "ERR_SERVER_COMM_SEND", "derived", 7, {});
  EXPECT_EQ(connected, (std::vector<bool>{true, false, false, false}));
}

TEST_F(RaiseSite, AFailedRequestIsNeverComplete) {
  peer.connection().expectFrames(3).reply(STATUS_REPLY).stall();
  send(ASYNC_ADD_DOCUMENT);
  EXPECT_TRUE(client.isReplyComplete());
  client.receiving = raising(std::bad_alloc());
  for (const std::uint32_t kind : {std::uint32_t{ASYNC_ADD_DOCUMENT}, std::uint32_t{LAST_DOC_SENT},
                                   std::uint32_t{GET_STATUS}}) {
    EXPECT_THROW(send(kind), comm::RESTException);
    EXPECT_FALSE(client.isReplyComplete()) << kind;
  }
}

TEST_F(RaiseSite, NothingIsRetriedOfAnInternalError) {
  int attempts = 0;
  client.beforeSending = [&] {
    ++attempts;
    throw std::bad_alloc();
  };
  peer.connection().stall();
  expectSite([&] { send(); }, "ERR_CLIENT_INTERNAL", "qorTamberPerfClient", 112, {UNKNOWN});
  EXPECT_EQ(attempts, 1);
}

}  // namespace
}  // namespace orvix::test
