// SPDX-License-Identifier: Apache-2.0
// Messages, lists of them, and the exceptions that carry them.
#include "infra/oss/qorMessage.h"

#include <gtest/gtest.h>
#include <string>

#include "infra/oss/qorBaseException.h"
#include "tests/support/qorBytes.h"

namespace orvix::test {
namespace {

using oss::Message;

TEST(Message, CopiesEveryFieldDeeplyAndClearsEveryField) {
  Message original(u"ID", u"words", Message::LEVEL_ERROR);
  original.setFileName("qorFile");
  original.setLineNumber(4294967295U);
  original.addArgument(u"h\u00f6st");
  original.addArgument(4294967295U);
  original.addArgument("plain", nullptr);
  const Message copy(original);
  Message assigned;
  assigned.setMessage(original);
  assigned.setMessage(assigned);
  original.clear();
  EXPECT_EQ(inOneLine(original), "");
  EXPECT_EQ(original.getMessageLevel(), 0U);
  for (const Message& each : {copy, assigned}) {
    EXPECT_EQ(inOneLine(each), "ID(words)@qorFile:4294967295[h\xc3\xb6st|4294967295|plain]");
    EXPECT_EQ(each.getMessageLevel(), 4U);
  }
}

TEST(MessageList, JoinsInOrderEvenWithItself) {
  oss::MessageList list(Message(u"1", u"", Message::LEVEL_NONE));
  oss::MessageList other;
  EXPECT_TRUE(other.isEmpty());
  other.addMessage(Message(u"2", u"", Message::LEVEL_NONE));
  list.join(other);
  list.join(list);
  list.addMessage(list.getFirstMessage());
  std::string ids;
  for (const Message& message : list) ids += text(message.getMessageID());
  EXPECT_EQ(ids, "12121");
}

TEST(BaseException, SaysEverythingOfItsFirstMessageInOneLine) {
  oss::BaseException error(u"ERR_X", "qorFile", 42);
  error.getErrorMessage().setMessageText(u"broke\r\nbadly");
  error.getErrorMessage().addArgument(u"h\u00f6st\n");
  error.addMessage(Message(u"SECOND", u"", Message::LEVEL_NONE));
  const std::string line = error.what();
  for (const char* part : {"ERR_X", "broke", "badly", "h\xc3\xb6st", "qorFile", "42"}) {
    EXPECT_NE(line.find(part), std::string::npos) << part << " not in: " << line;
  }
  EXPECT_EQ(line.find_first_of("\r\n"), std::string::npos) << line;
  EXPECT_EQ(line.find("SECOND"), std::string::npos) << line;
}

TEST(BaseException, WithoutAMessageStillSaysSomethingAndGetsAnEmptyOneFirst) {
  oss::BaseException error;
  EXPECT_STRNE(error.what(), "");
  error.getErrorMessage().addArgument(7U);
  error.addMessage(Message(u"LATER", u"", Message::LEVEL_NONE));
  EXPECT_EQ(error.getMessages().size(), 2U);
  EXPECT_EQ(inOneLine(error.getErrorMessage()), "[7]");
}

}  // namespace
}  // namespace orvix::test
