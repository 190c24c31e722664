// SPDX-License-Identifier: Apache-2.0
// Which failure ends the program with which code, and what its message says.
#include "cli/qorCtlExit.h"

#include <gtest/gtest.h>
#include <new>
#include <string>

#include "cli/qorCtlLoad.h"

namespace {

using namespace orvix;
using namespace orvix::ctl;
using comm::RESTException;
using comm::StaticDefs;

template <class Thrown>
Failure sortedFailure(const Thrown& thrown) {
  try {
    throw thrown;
  } catch (const std::exception&) {
    return currentFailure("search at h:1");
  }
}

TEST(ExitCodes, OtherExceptionsKeepTheirCodeOrAreInternal) {
  EXPECT_EQ(sortedFailure(CtlFailure(ExitCode::LOCAL_FILE, "x")).code, ExitCode::LOCAL_FILE);
  EXPECT_EQ(sortedFailure(CtlFailure(ExitCode::LOCAL_FILE, "x")).text, "x");
  EXPECT_EQ(sortedFailure(oss::NLSException(u"ES", nullptr, 0)).code, ExitCode::INTERNAL);
  EXPECT_EQ(sortedFailure(std::bad_alloc()).code, ExitCode::INTERNAL);
  EXPECT_EQ(sortedFailure(RESTException(StaticDefs::ERR_SERVER_PROTOCOL, "f", 1)).code,
            ExitCode::PROTOCOL);
  EXPECT_EQ(sortedFailure(RESTException(StaticDefs::ERR_SERVER_COMM_TIMEOUT, "f", 1)).code,
            ExitCode::TIME_OUT);
  EXPECT_EQ(sortedFailure(RESTException(u"something new", "f", 1)).code, ExitCode::INTERNAL);
}

TEST(FailureText, NamesServerArgumentsAndCauses) {
  RESTException failure(StaticDefs::ERR_CONNECT_SERVER, "file", 236);
  failure.getErrorMessage().addArgument(u"h\x1b");
  failure.getErrorMessage().addArgument(1U);
  failure.addMessage(oss::Message(u"SOCKET_CONNECT", u"refused", oss::Message::LEVEL_ERROR));
  failure.addMessage(oss::Message(StaticDefs::ERR_SERVER_APP, u"", oss::Message::LEVEL_ERROR));
  EXPECT_EQ(
      describe(failure, "status at h:1"),
      "status at h:1: ERR_CONNECT_SERVER [h\\x1b, 1] (file:236); cause: SOCKET_CONNECT: refused");
}

TEST(LoadResults, AreDoneInPartAsSoonAsOneDocumentGotIn) {
  const Failure lost{ExitCode::NO_CONNECTION, "lost"};
  struct Case {
    const char* name;
    LoadResult result;  // sent, accepted, rejected, problems
    ExitCode code;
  };
  const Case cases[] = {
      {"nothing to do", {{0, 0, 0, 0}, {}}, ExitCode::DONE},
      {"all accepted", {{5, 5, 0, 0}, {}}, ExitCode::DONE},
      {"some rejected", {{5, 4, 1, 0}, {}}, ExitCode::DONE_IN_PART},
      {"all rejected", {{5, 0, 5, 0}, {}}, ExitCode::REFUSED},
      {"a file unreadable", {{5, 5, 0, 1}, {}}, ExitCode::DONE_IN_PART},
      {"every file unreadable", {{0, 0, 0, 3}, {}}, ExitCode::LOCAL_FILE},
      {"lost at the start", {{1, 0, 0, 0}, lost}, ExitCode::NO_CONNECTION},
      {"lost after a batch", {{5, 4, 0, 0}, lost}, ExitCode::DONE_IN_PART},
      {"interrupted", {{5, 4, 1, 0}, {}, true}, ExitCode::INTERRUPTED},
      {"lost when interrupted", {{5, 0, 0, 0}, lost, true}, ExitCode::NO_CONNECTION},
  };
  for (const Case& c : cases) EXPECT_EQ(exitCodeOf(c.result), c.code) << c.name;
}

}  // namespace
