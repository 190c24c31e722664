// SPDX-License-Identifier: Apache-2.0
// What one peer may take from the others: time, connections, memory, the engine's attention.
#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <memory>
#include <poll.h>
#include <string>
#include <thread>
#include <vector>

#include "server/qorQueryLimits.h"
#include "tests/server/qorConnectionFixture.h"

namespace orvix::server {
namespace {

using testing::documentOf;
using testing::requestFrame;
using testing::u16;
using Clock = std::chrono::steady_clock;

/// Keeps the writer busy for its own life.
class Hold {
 public:
  explicit Hold(Writer& writer) {
    writer.post([ended = ended_, working = working_] {
      *working = true;
      while (!*ended) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    });
    while (!*working_) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  Hold(const Hold&) = delete;
  Hold& operator=(const Hold&) = delete;
  ~Hold() { *ended_ = true; }

 private:
  using Flag = std::shared_ptr<std::atomic<bool>>;
  Flag ended_ = std::make_shared<std::atomic<bool>>(false);
  Flag working_ = std::make_shared<std::atomic<bool>>(false);
};

class Bounds : public testing::ConnectionFixture {
 protected:
  /// Seconds until the server closes the connection; until then `feed` is called every 100 ms.
  template <typename Feed>
  static double lifeOf(asio::ip::tcp::socket& socket, const Feed& feed) {
    const auto start = Clock::now();
    const auto seconds = [start] {
      return std::chrono::duration<double>(Clock::now() - start).count();
    };
    socket.non_blocking(true);
    std::error_code error;
    char byte = 0;
    while (seconds() < 10) {
      socket.read_some(asio::buffer(&byte, 1), error);
      if (error && error != asio::error::would_block) break;
      feed();
      pollfd closing{socket.native_handle(), POLLIN, 0};
      ::poll(&closing, 1, 100);
    }
    return seconds();
  }
};

TEST_F(Bounds, AHeaderThatDripsInIsCutOffButASilentConnectionLivesLonger) {
  const std::string frame = requestFrame("action: getStatus\n");
  auto slow = connect();
  auto silent = connect();
  std::size_t sent = 0;
  std::error_code ignored;
  const double slowLife = lifeOf(
      slow, [&] { asio::write(slow, asio::buffer(&frame[sent++ % frame.size()], 1), ignored); });
  EXPECT_GE(slowLife, 0.9);  // 1 s is allowed, looked at twice a second
  EXPECT_LT(slowLife, 2.5);
  write(silent, frame);
  EXPECT_EQ(read(silent, 2), u16(1));
  const double silentLife = lifeOf(silent, [] {});
  EXPECT_GE(silentLife, 2.5);  // 3 s
  EXPECT_LT(silentLife, 5);
}

TEST_F(Bounds, ConnectionsAboveTheLimitAreClosedAndPlacesAreGivenBack) {
  std::vector<asio::ip::tcp::socket> held;
  for (std::size_t i = 0; i < limits().connections; ++i) {
    held.push_back(connect());
    write(held.back(), requestFrame("action: getStatus\n"));
    ASSERT_EQ(read(held.back(), 2), u16(1));
  }
  auto surplus = connect();
  EXPECT_EQ(read(surplus, 1), "");
  const Metrics& metrics = dispatcher().metrics();
  EXPECT_EQ(metrics.connectionsOpen.value(), limits().connections);
  EXPECT_EQ(metrics.connectionsTaken.value(), limits().connections);
  EXPECT_EQ(metrics.connectionsRefused.value(), 1U);
  held.pop_back();
  for (int i = 0; i < 100; ++i) {
    auto next = connect();
    std::error_code error;
    asio::write(next, asio::buffer(requestFrame("action: getStatus\n")), error);
    if (read(next, 2) == u16(1)) return;
  }
  FAIL() << "the place was not given back";
}

TEST_F(Bounds, UnfinishedBodiesAreLimitedTogether) {
  std::string start = requestFrame("action: addDocument\nindex: c\n", std::string(300000, 'x'));
  start.pop_back();
  auto first = connect();
  auto second = connect();
  write(first, start);
  std::error_code ignored;  // the close may come before all is written
  asio::write(second, asio::buffer(start), ignored);
  EXPECT_LT(lifeOf(second, [] {}), 2.5);  // of silence it would live 3 s
  write(first, "x");
  EXPECT_EQ(testing::verdictOf(read(first, 4000)), "SRV_BODY_MALFORMED") << "the other went on";
}

TEST_F(Bounds, DocumentsThatAreNeverAnsweredAreAllWorkedOffInOrder) {
  create("c");
  auto socket = connect();
  std::string stream;
  constexpr int DOCUMENTS = 5000;  // more than may be queued
  for (int i = 0; i < DOCUMENTS; ++i) {
    stream += requestFrame("action: asyncAddDocument\nindex: c\n",
                           documentOf("k" + std::to_string(i % 7), "n" + std::to_string(i)));
  }
  stream += requestFrame("action: asyncAddDocument\nindex: c\n", testing::TERMINATOR) +
            requestFrame("action: search\nindex: c\nquery: n4999\nscoreWanted: false\n");
  write(socket, stream);
  EXPECT_EQ(read(socket, 2 + 4 + 2), u16(1) + u16(1) + u16(2) + "k1");
}

TEST_F(Bounds, SearchesAreAnsweredWhileTheWriterIsAtWork) {
  create("c");
  add("k", "word");
  const Hold hold(writer());
  auto socket = connect();
  for (const char* query : {"word", "\"word\"", "wor*"}) {
    write(socket,
          requestFrame(std::string("action: search\nindex: c\nscoreWanted: false\nquery: ") +
                       query + "\n"));
    EXPECT_EQ(read(socket, 11), u16(1) + u16(1) + u16(1) + "k" + u16(1) + u16(0));
  }
  write(socket, requestFrame("action: getStatus\n"));
  EXPECT_EQ(read(socket, 2), u16(5)) << "busy";
}

TEST_F(Bounds, ChangesThatWaitTogetherShareACommit) {
  create("c");
  const auto revision = [this] {
    const std::string status = ask("collectionStatus", {{"index", "c"}});
    const std::size_t at = status.find("\"revision\":") + 11;
    return std::stoul(status.substr(at));
  };
  const auto before = revision();
  auto hold = std::make_unique<Hold>(writer());
  std::vector<asio::ip::tcp::socket> peers;
  std::size_t queued = 0;
  for (const char* key : {"1", "2", "3", "4", "5"}) {
    peers.push_back(connect());
    const std::string frame =
        requestFrame("action: addDocument\nindex: c\n", documentOf(key, "word"));
    write(peers.back(), frame);
    queued += frame.size() - 2;  // without the length of the header
  }
  while (writer().queuedBytes() != queued) std::this_thread::yield();
  hold.reset();
  for (auto& peer : peers) EXPECT_EQ(read(peer, 2), u16(1));
  EXPECT_EQ(find("word").size(), 5U);
  EXPECT_EQ(revision(), before + 1);
}

TEST_F(Bounds, OutcomesAreToldUntilAPeerHasGotThem) {
  create("c");
  const std::string ask = requestFrame("action: getParseResult\nindex: c\n");
  const std::string told =
      u16(1) + u16(1) + u16(8) + u16(3) + "Doc" + u16(1) + "k" + u16(1) + u16(0);
  {
    auto broken = connect();
    write(broken,
          requestFrame("action: asyncAddDocument\nindex: c\n", documentOf("k", "word")) + ask);
    EXPECT_EQ(read(broken, 3), told.substr(0, 3));
    broken.set_option(asio::socket_base::linger(true, 0));  // closing resets the connection
  }
  {
    auto whole = connect();
    write(whole, ask);
    EXPECT_EQ(read(whole, told.size()), told);
  }
  for (int i = 0; i < 1000; ++i) {  // the server has to see the end of that connection first
    auto next = connect();
    write(next, ask);
    const std::string reply = read(next, 6);
    if (reply == u16(1) + u16(1) + u16(0)) return;
    ASSERT_EQ(reply, told.substr(0, 6));
    next.set_option(asio::socket_base::linger(true, 0));
  }
  FAIL() << "told again and again";
}

/// Searches that commits overtake are run again, and each sees some whole revision.
TEST_F(Bounds, SearchesSeeWholeRevisionsWhateverIsCommittedMeanwhile) {
  create("c");
  std::atomic<bool> ended = false;
  std::thread load([&] {
    auto socket = connect();
    for (int i = 0; i < 150; ++i) {
      for (int key = 0; key < 20; ++key) {
        write(socket, requestFrame(
                          "action: asyncAddDocument\nindex: c\n",
                          documentOf("k" + std::to_string(key), "same round" + std::to_string(i))));
      }
      write(socket, requestFrame("action: updateIndex\nindex: c\n"));
      EXPECT_EQ(read(socket, 2), u16(1));
    }
    ended = true;
  });
  while (!ended) {
    const std::size_t hits = find("same").size();
    EXPECT_TRUE(hits == 0 || hits == 20) << hits;
  }
  load.join();
  EXPECT_EQ(find("round149").size(), 20U);
}

TEST(QueryLimits, AreAboutWordsDepthAndWildcards) {
  const auto refused = [](const std::string& query) {
    try {
      checkQueryText(query);
      return false;
    } catch (const Refusal& refusal) {
      EXPECT_EQ(refusal.fault().id, MessageId::QUERY_INVALID);
      return true;
    }
  };
  const auto times = [](std::size_t count, const std::string& text) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) all += text;
    return all;
  };
  EXPECT_FALSE(refused(times(1000, "w ")));
  EXPECT_TRUE(refused(times(1001, "w ")));
  EXPECT_TRUE(refused(times(1001, "w,")));
  EXPECT_TRUE(isLightQuery("two words") && isLightQuery("\u68ee"));
  for (const char* heavy : {"x-y", "\"x y\"", "x*", "x NEAR y", "f:x", "1..2"}) {
    EXPECT_FALSE(isLightQuery(heavy)) << heavy;
  }
  EXPECT_TRUE(refused(times(1001, "w\u00a0")));
  EXPECT_FALSE(refused(times(1000, "\u68ee")));
  EXPECT_TRUE(refused(times(1001, "\u68ee")));
  EXPECT_FALSE(refused(times(100, "(") + "a" + times(100, ")")));
  EXPECT_FALSE(refused(times(101, "(a) ")));
  EXPECT_TRUE(refused(times(101, "(") + "a" + times(101, ")")));
  EXPECT_TRUE(refused(times(20000, "NOT ")));
  EXPECT_EQ(expansionsPerWildcard("a"), 10000U);
  EXPECT_EQ(expansionsPerWildcard("a* b* c*"), 3333U);
  EXPECT_EQ(expansionsPerWildcard(times(65000, "*")), 1U);
}

class QueryTime : public testing::ServerFixture {};

TEST_F(QueryTime, TheWorstQueriesWithinTheLimitsAreAnsweredSoon) {
  create("c");
  for (int i = 0; i < 5; ++i) add("k" + std::to_string(i), "a b c d " + std::to_string(i));
  const auto repeated = [](const std::string& text, std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) all += text + std::to_string(i) + " ";
    return all;
  };
  const std::string nested = std::string(100, '(') + "a" + std::string(100, ')');
  for (const std::string& query :
       {repeated("OR a", 999), repeated("NOT a", 999), repeated("a NEAR b", 300),
        "\"" + repeated("a", 999) + "\"", repeated("a*", 999), nested, repeated("-a +b", 499),
        std::string(65000, '('), std::string(30000, '"'), repeated("a", 13000)}) {
    const auto start = Clock::now();
    static_cast<void>(ask("search", {{"index", "c"}, {"query", query}}));
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    EXPECT_LT(seconds, 5) << query.substr(0, 20) << " took " << seconds;
  }
}

/// More documents than a light query passes between two looks at the clock.
Xapian::WritableDatabase databaseOf(int documents) {
  Xapian::WritableDatabase database("", Xapian::DB_BACKEND_INMEMORY);
  for (int i = 0; i < documents; ++i) {
    Xapian::Document document;
    document.add_term("word", static_cast<Xapian::termcount>(1 + i % 9));
    if (i % 3 == 0) document.add_term("other");
    database.add_document(document);
  }
  return database;
}

TEST(QueryWatch, EndsAMatchAndChangesNothingElse) {
  const Xapian::Database database = databaseOf(20000);
  const Xapian::Query query(Xapian::Query::OP_OR, Xapian::Query("word"), Xapian::Query("other"));
  const auto hitsOf = [&database](const Xapian::Query& asked, const PatientDecider* decider) {
    Xapian::Enquire enquire(database);
    enquire.set_query(asked);
    const Xapian::MSet hits = enquire.get_mset(0, 15000, 0, nullptr, decider);
    std::vector<std::string> told;
    for (auto hit = hits.begin(); hit != hits.end(); ++hit) {
      told.push_back(std::to_string(*hit) + " " + std::to_string(hit.get_weight()));
    }
    return told;
  };
  const ProcessorDeadline far(std::chrono::seconds(60));
  const ProcessorDeadline near(std::chrono::milliseconds(1));
  while (!near.passed()) static_cast<void>(hitsOf(query, nullptr));  // an earlier try used it up
  const auto plain = hitsOf(query, nullptr);
  ASSERT_EQ(plain.size(), 15000U);
  for (const bool light : {false, true}) {
    SCOPED_TRACE(light ? "light" : "any");
    EXPECT_EQ(hitsOf(withTimeLimit(query, far, light), nullptr), plain);
    EXPECT_THROW(hitsOf(withTimeLimit(query, near, light), nullptr), QueryTooLong);
  }
  const PatientDecider patient{far};
  const PatientDecider hasty{near};
  EXPECT_EQ(hitsOf(query, &patient), plain);
  EXPECT_THROW(hitsOf(query, &hasty), QueryTooLong);
}

}  // namespace
}  // namespace orvix::server
