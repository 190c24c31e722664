// SPDX-License-Identifier: Apache-2.0
// Captured bytes and their meaning: golden requests and replies, every cut of them, damaged and
// hostile ones, and the library's own requests of every kind.
#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "cli/qorCtlCommands.h"
#include "cli/qorCtlExit.h"
#include "cli/qorCtlWireExplain.h"
#include "comm/protocol/internal/qorRequestKinds.h"
#include "tests/cli/qorCtlPeer.h"

namespace {

using namespace orvix::ctl;
using namespace orvix::ctl::testing;

using orvix::test::bodyOf;
using orvix::test::frame;
using orvix::test::requestFrame;
using orvix::test::run;
using orvix::test::u32;
using orvix::test::withLength;

const std::string KEY = run("rowId") + run("k");
const std::string CONTENT = run("data") + run("abc");
const std::string ADD = "action: addDocument\n";

/// The parts in order, and the fault that ended them. Every byte must belong to exactly one part.
struct Explained {
  std::vector<std::string> meanings;
  std::optional<WireFault> fault;
  std::size_t bytes = 0;
};

template <class Explainer>
Explained collect(Explainer explainParts) {
  Explained result;
  try {
    explainParts([&result](const WirePart& part) {
      EXPECT_EQ(part.offset, result.bytes);
      EXPECT_FALSE(part.bytes.empty());
      result.bytes += part.bytes.size();
      result.meanings.push_back(part.meaning);
    });
  } catch (const WireFault& fault) {
    result.fault = fault;
  }
  return result;
}

Explained requestsIn(const std::string& bytes) {
  // A copy of its own size: a read behind it is seen by the sanitizer.
  const std::vector<char> exact(bytes.begin(), bytes.end());
  const std::string_view view(exact.data(), exact.size());
  return collect([view](const PartSink& sink) { explainRequests(view, sink); });
}

Explained repliesIn(const std::string& kind, const std::string& bytes) {
  const std::vector<char> exact(bytes.begin(), bytes.end());
  const std::string_view view(exact.data(), exact.size());
  return collect([&](const PartSink& sink) { explainReplies(view, *findWireKind(kind), sink); });
}

const std::string REQUESTS = requestFrame("action: getStatus\n") +
                             requestFrame(ADD, bodyOf(run("f") + run("v") + KEY + CONTENT)) +
                             requestFrame("action: asyncAddDocument\n", bodyOf(KEY)) +
                             requestFrame("action: asyncAddDocument\n", std::string(8, '\0'));

TEST(WireRequests, AreExplainedOneAfterTheOther) {
  const Explained all = requestsIn(REQUESTS);
  ASSERT_FALSE(all.fault) << all.fault->what();
  EXPECT_EQ(all.bytes, REQUESTS.size());
  std::string starts;
  for (const std::string& meaning : all.meanings) {
    if (meaning.find("request ") == 0) starts += meaning.substr(0, meaning.find(':')) + ';';
  }
  EXPECT_EQ(starts,
            "request 1, get-status;request 2, add-document;request 3, async-add-document;"
            "request 4, last-doc-sent;");
  EXPECT_EQ(all.meanings[1],
            "header line, how many bytes of body and content follow the header; empty: none");
  EXPECT_EQ(all.meanings.back(), "body: the end of a batch");
}

TEST(WireRequests, EveryCutIsRefusedWhereTheBytesEnd) {
  std::vector<std::size_t> whole{0};
  for (std::size_t cut = 1; cut < REQUESTS.size(); ++cut) {
    const Explained part = requestsIn(REQUESTS.substr(0, cut));
    if (!part.fault) {
      whole.push_back(cut);  // between two requests
    } else {
      EXPECT_LE(part.fault->offset(), cut);
      EXPECT_GE(part.fault->offset(), whole.back());
    }
  }
  EXPECT_EQ(whole.size(), 4U);
  EXPECT_TRUE(requestsIn("").fault);
}

TEST(WireRequests, FieldsWithANumberBehindTheirValueAreTold) {
  const std::string numbered = run("n") + run("v") + u32(7);
  for (const std::string& records :
       {numbered + KEY, run("f") + run("") + numbered + KEY + CONTENT, numbered + numbered + KEY}) {
    const Explained all = requestsIn(requestFrame(ADD, bodyOf(records)));
    ASSERT_FALSE(all.fault) << all.fault->what();
    std::string text;
    for (const std::string& meaning : all.meanings) text += meaning + ';';
    EXPECT_NE(text.find("the field's number: 7"), std::string::npos) << text;
    EXPECT_NE(text.find("the document's key: 'k'"), std::string::npos) << text;
  }
}

TEST(WireRequests, FaultsNameOffsetAndExpectation) {
  const std::string start = requestFrame(ADD, bodyOf(KEY));
  const std::size_t body = start.size() - bodyOf(KEY).size();
  const auto withBody = [](const std::string& bytes) { return requestFrame(ADD, bytes); };
  struct Case {
    const char* name;
    std::string bytes;
    std::size_t offset;
    const char* expected;
  };
  const Case cases[] = {
      {"one byte", "\0"s, 0, "2 bytes of a request's frame"},
      {"a reply", OK + END_MARKER, 2, "a header line \"key: value\""},
      {"an empty header", "\0\0"s, 2, "CR LF, the end of the header text"},
      {"no separator", frame("abc\n\r\n"), 2, "a header line \"key: value\""},
      {"no end", frame("a: b\n"), 7, "CR LF, the end of the header text"},
      {"no length", frame("a: b\n\r\n"), 9, "a header line \"Content-Length  \""},
      {"a length in words", requestFrame("Content-Length  : x\n"), 43, "a whole number"},
      {"a huge length", requestFrame("Content-Length  : 99999999999999999999\n"), 62,
       "a whole number"},
      {"a long length", requestFrame("Content-Length  : 4294967296\n"), 52,
       "4294967296 bytes of body"},
      {"another format", withBody("\0\0\0\1"s + u32(KEY.size()) + KEY), body, "0, the format"},
      {"another rest", withBody(u32(0) + u32(1) + KEY), body + 4, "14, the bytes left"},
      {"no key", withBody(bodyOf(run("f") + run("v"))), body + 18, "the document's key"},
      {"a record too long", withBody(bodyOf(run("rowId") + u32(9) + "k")), body + 21,
       "9 bytes of the value of field 'rowId', but 1 is left"},
      {"a length with top bits", withBody(bodyOf("\x80\0\0\1"s + "f")), body + 8, "top two bits"},
      {"no terminator", requestFrame("action: asyncAddDocument\n", std::string(7, '\0')), 53,
       "4 bytes of the length of the rest of the body, but 3 are left"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Explained result = requestsIn(c.bytes);
    ASSERT_TRUE(result.fault);
    EXPECT_EQ(result.fault->offset(), c.offset) << result.fault->what();
    EXPECT_NE(std::string(result.fault->what()).find(c.expected), std::string::npos)
        << result.fault->what();
  }
}

const std::string HIT = record(5, "\x01\xf4key");  // 0.5
const std::string ERROR_PAIRS = pair("MsgId", "E") + pair("MsgText", "t");

struct ReplyCase {
  const char* kind;
  std::string bytes;
  const char* says;
};

const ReplyCase REPLIES[] = {
    {"get-status", "\0\5"s, "status 5: busy"},
    {"get-status", "\0\6"s + withLength(ERROR_PAIRS), "its value: 't'"},
    {"update-index", OK, "status 1: success"},
    {"drop-collection", "\0\6"s + withLength(ERROR_PAIRS), "status 6: refused"},
    {"scalar-search", "\x01\x91", "status 401"},
    {"scalar-search", OK + HIT + END_MARKER, "the hit's score: 0.5"},
    {"stream-search", OK + record(1, "k") + record(6, ERROR_PAIRS) + END_MARKER, "a key: 'MsgId'"},
    {"parse-result", OK + accepted("d") + rejected("e") + END_MARKER, "its value: 'E_BAD'"},
    {"selectivity", OK + record(1, "\0\0\0\7\0\0\0\x9\0\0\0\5"s) + END_MARKER,
     "the matches at least: 5"},
    {"get-server-version", OK + record(1, "v1"), "the text: 'v1'"},
    {"get-server-version", OK + record(9, withLength(ERROR_PAIRS)), "its value: 'E'"},
    {"collection-status", OK + record(14, "{") + record(1, "}"), "the last chunk, 1 bytes"},
};

TEST(WireReplies, AreExplainedByTheirKindAndEveryCutIsRefused) {
  for (const ReplyCase& c : REPLIES) {
    SCOPED_TRACE(std::string(c.kind) + ", " + c.says);
    const Explained twice = repliesIn(c.kind, c.bytes + c.bytes);
    ASSERT_FALSE(twice.fault) << twice.fault->what();
    EXPECT_EQ(twice.bytes, 2 * c.bytes.size());
    std::string text;
    for (const std::string& meaning : twice.meanings) text += meaning + ';';
    EXPECT_NE(text.find(c.says), std::string::npos) << text;
    EXPECT_NE(text.find("reply 2: "), std::string::npos) << text;
    for (std::size_t cut = 0; cut < c.bytes.size(); ++cut) {
      const Explained part = repliesIn(c.kind, c.bytes.substr(0, cut));
      ASSERT_TRUE(part.fault) << cut;
      EXPECT_LE(part.fault->offset(), cut);
    }
  }
}

TEST(WireReplies, FaultsNameOffsetAndExpectation) {
  struct Case {
    const char* name;
    const char* kind;
    std::string bytes;
    std::size_t offset;
    const char* expected;
  };
  const Case cases[] = {
      {"an unknown status", "update-index", "\0\2"s, 0, "1, 6 or 401; it is 2"},
      {"busy where none can be", "update-index", "\0\5"s, 0, "1, 6 or 401; it is 5"},
      {"never answered", "last-doc-sent", OK, 0, "nothing, for last-doc-sent is never answered"},
      {"a byte too many", "update-index", OK + "\0"s, 2, "2 bytes of a reply's status"},
      {"no end", "scalar-search", OK + HIT, 11, "the end of the records"},
      {"half a score", "scalar-search", OK + record(5, "x") + END_MARKER, 6,
       "2 bytes of a hit's score"},
      {"pairs too long", "parse-result", OK + record(1, "\0\7Doc"s) + END_MARKER, 8,
       "7 bytes of a key"},
      {"an estimate too long", "selectivity", OK + record(1, std::string(13, '\0')) + END_MARKER,
       18, "the end of the record"},
      {"a text's status", "get-server-version", OK + record(2, "v"), 2, "status 1 (a text)"},
      {"a chunk's status", "collection-status", OK + record(6, "v"), 2, "14 (more follow) or 1"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Explained result = repliesIn(c.kind, c.bytes);
    ASSERT_TRUE(result.fault);
    EXPECT_EQ(result.fault->offset(), c.offset) << result.fault->what();
    EXPECT_NE(std::string(result.fault->what()).find(c.expected), std::string::npos)
        << result.fault->what();
  }
}

/// Every byte replaced in turn: the parts stay in order (collect() checks) and nothing is read
/// outside (the sanitizer checks).
TEST(WireHostile, DamagedCapturesEndInAFaultOrInTheirLastByte) {
  const auto damage = [](const std::string& bytes, auto explainBytes) {
    for (std::size_t at = 0; at < bytes.size(); ++at) {
      for (const char value : {'\0', '\1', '\x7f', '\x80', '\xff'}) {
        std::string damaged = bytes;
        damaged[at] = value;
        const Explained result = explainBytes(damaged);
        EXPECT_TRUE(result.fault || result.bytes == bytes.size());
      }
    }
  };
  damage(REQUESTS, requestsIn);
  for (const ReplyCase& c : REPLIES) {
    damage(c.bytes, [&c](const std::string& bytes) { return repliesIn(c.kind, bytes); });
  }
}

TEST(WireHostile, ABodyOfManyReadingsTakesNoLonger) {
  // Each empty record may or may not carry a number: without memory, 2^n readings.
  const std::string records(1 << 16, '\0');
  const Explained result =
      requestsIn(requestFrame(ADD, bodyOf(records).replace(4, 4, "\0\1\0\0"s)));
  EXPECT_TRUE(result.fault);
}

TEST(WireKinds, AreThoseOfTheLibrary) {
  std::size_t known = 0;
  for (const auto& row : orvix::comm::detail::REQUEST_KINDS) {
    if (row.pathWord == nullptr) continue;
    SCOPED_TRACE(row.kind);
    const auto kinds = wireKinds();
    const auto found = std::find_if(kinds.begin(), kinds.end(), [&](const WireKind& each) {
      return std::uint32_t{each.kind} == row.kind;
    });
    ASSERT_NE(found, kinds.end()) << "qorctl wire does not know it";
    ++known;
    EXPECT_EQ(found->action, row.pathWord);
    EXPECT_EQ(found->reply == ReplyShape::NO_REPLY, orvix::comm::detail::isUnanswered(row.kind));
    EXPECT_EQ(found->reply != ReplyShape::NO_REPLY && found->reply != ReplyShape::NOTHING,
              row.resultsExpected);
  }
  EXPECT_EQ(known, wireKinds().size()) << "qorctl wire knows kinds that the library does not";
}

TEST(WireCommand, TheLibrarysRequestsOfEveryKindAreRecognised) {
  for (const WireKind& kind : wireKinds()) {
    SCOPED_TRACE(kind.name);
    Settings settings;
    settings.command = Command::WIRE;
    settings.wireKind = kind.name;
    settings.wireProperties = {"index=books", "query=a b"};
    settings.documentKey = "key";
    settings.contentText = "text";
    settings.fields = {"title=x"};
    settings.indexedFields = {"title"};
    settings.raw = true;
    std::ostringstream out;
    std::ostringstream err;
    EXPECT_EQ(runCommand(settings, {out, err}), ExitCode::DONE);
    const Explained all = requestsIn(out.str());
    ASSERT_FALSE(all.fault) << all.fault->what();
    EXPECT_EQ(all.meanings[0].find("request 1, " + std::string(kind.name) + ": "), 0U)
        << all.meanings[0];
  }
}

}  // namespace
