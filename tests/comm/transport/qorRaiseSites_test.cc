// SPDX-License-Identifier: Apache-2.0
// The errors that no peer can bring about: it takes a derived client or message, or memory that
// cannot be had.
#include <gtest/gtest.h>
#include <new>
#include <stdexcept>

#include "comm/request/internal/qorRESTMessage.h"
#include "infra/oss/qorBaseException.h"
#include "infra/oss/qorNLSException.h"
#include "tests/comm/transport/qorTransportKit.h"

namespace orvix::test {
namespace {

using namespace comm::kinds;
using Step = SteppedClient::Step;

const Step INFRASTRUCTURE = [] { throw oss::BaseException(u"INFRA", "somewhere", 7); };
const Step TEXT = [] { throw oss::NLSException(u"ES_ERR_OUT_OF_MEMORY", "somewhere", 492); };
const Step MEMORY = [] { throw std::bad_alloc(); };
const Step OTHER = [] { throw std::runtime_error("unexpected"); };

/// A message whose content cannot be had: asking for it fails, or there is none.
class PoorMessage : public comm::RESTMessage {
 public:
  PoorMessage(comm::ClientRequest& request, Step failure)
      : RESTMessage(request), failure_(std::move(failure)) {}
  const char* getContent() override {
    if (failure_) failure_();
    return nullptr;
  }

 private:
  Step failure_;
};

TEST(RaiseSite, OfAStepThatFailsIsThatOfItsFailure) {
  constexpr auto PULL = &SteppedClient::streaming;
  const struct {
    Step SteppedClient::*step;
    Step failure;
    std::uint32_t kind;
    const char* expected;
  } cases[] = {
      {&SteppedClient::once, INFRASTRUCTURE, GET_STATUS,
       "ERR_CLIENT_INTERNAL@qorCorvaneRESTClient:198"},
      {&SteppedClient::once, OTHER, GET_STATUS, "another exception: unexpected"},
      {&SteppedClient::once, TEXT, GET_STATUS, "NLSException"},
      {&SteppedClient::sending, MEMORY, GET_STATUS, REQUEST_FAILED},
      {&SteppedClient::receiving, INFRASTRUCTURE, GET_STATUS, REQUEST_FAILED},
      {&SteppedClient::receiving, OTHER, ASYNC_ADD_DOCUMENT, REQUEST_FAILED},
      {&SteppedClient::receiving, MEMORY, LAST_DOC_SENT, REQUEST_FAILED},
      {&SteppedClient::receiving, TEXT, GET_STATUS, "NLSException"},
      {PULL, INFRASTRUCTURE, GET_STATUS, PULL_FAILED},
      {PULL, OTHER, GET_STATUS, PULL_FAILED},
      {PULL, MEMORY, GET_STATUS, PULL_FAILED},
      {PULL, TEXT, GET_STATUS, "NLSException"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    ScriptedPeer peer;
    peer.connection().expectFrames(1).reply(STATUS_REPLY);
    SteppedClient client(peer);
    comm::ClientResponse response;
    if (c.step == PULL) {
      EXPECT_EQ(askStatus(client), STATUS_OUTCOME);
      client.streaming = c.failure;
      EXPECT_EQ(raised(client, [&] { client.recv(response); }), c.expected);
    } else {
      client.*c.step = c.failure;
      EXPECT_EQ(errorOf(outcome(client, c.kind)), c.expected) << "and it is not complete";
    }
    peer.stop();
    EXPECT_LE(peer.connections(), 1U) << "it is not tried again";
  }
}

TEST(RaiseSite, OfContentThatCannotBeHadIsThatOfItsFailure) {
  const std::pair<Step, const char*> cases[] = {
      {INFRASTRUCTURE, "ERR_CLIENT_INTERNAL@qorTamberPerfClient:285[127.0.0.1]+INFRA"},
      {MEMORY, REQUEST_FAILED},
      {TEXT, "NLSException"},
      {nullptr, "ok complete"},  // a message that states content which it does not have
  };
  for (const auto& [failure, expected] : cases) {
    ScriptedPeer peer;
    peer.connection().stall();
    SteppedClient client(peer);
    DocumentRequest document(ASYNC_ADD_DOCUMENT, "k", "c");
    PoorMessage message(document, failure);
    client.instead = &message;
    EXPECT_EQ(errorOf(outcome(client, document)), expected);
  }
}

TEST(RaiseSite, OfAClientThatMisusesItsSteps) {
  ScriptedPeer peer;
  peer.connection().expectFrames(1).reply(STATUS_REPLY).expectFrames(1).reply(STATUS_REPLY);
  peer.connection().stall();
  SteppedClient client(peer);
  comm::ClientResponse response;
  EXPECT_EQ(askStatus(client), STATUS_OUTCOME);
  EXPECT_EQ(raised(client, [&] { client.recvMesg(response); }),
            "ERR_CLIENT_INTERNAL@qorTamberPerfClient:356");
  client.receiving = [&] { client.recv(response); };
  EXPECT_EQ(errorOf(askStatus(client)), "ERR_INVALID_STATE@qorTamberPerfClient:137");
  comm::ClientRequest other = plainRequest(GET_STATUS);
  comm::RESTMessage unmarked(other);
  client.instead = &unmarked;
  EXPECT_EQ(errorOf(outcome(client, LAST_DOC_SENT)),
            "ERR_CLIENT_INTERNAL@qorTamberPerfClient:191[NULL terminator record in sendMesg]");
}

}  // namespace
}  // namespace orvix::test
