// SPDX-License-Identifier: Apache-2.0
// Filters that work, that fail, and that do everything a filter should not.
#include "server/qorTextFilter.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <vector>

#include "server/qorContentType.h"
#include "server/qorRefusal.h"
#include "tests/server/qorConnectionFixture.h"

namespace orvix::server {
namespace {

TextFilter shell(const std::string& script, unsigned seconds = 20) {
  return {"application/x-test", {"sh", "-c", script}, seconds, 512, 1};
}

/// The text, or what the refusal says of the filter.
std::string told(const TextFilter& filter, const std::string& content = "in") {
  try {
    return runTextFilter(filter, content);
  } catch (const Refusal& refusal) {
    EXPECT_EQ(refusal.fault().id, MessageId::FILTER_FAILED);
    const std::string start = "The filter \"sh\" for the type \"application/x-test\" ";
    EXPECT_TRUE(refusal.fault().text.starts_with(start)) << refusal.fault().text;
    return refusal.fault().text.substr(start.size());
  }
}

std::size_t descriptorsInUse() {
  using Folder = std::filesystem::directory_iterator;
  return static_cast<std::size_t>(std::distance(Folder("/proc/self/fd"), Folder()));
}

/// No descriptor and no process may be left by a test, however its filters end.
class Filters : public ::testing::Test {
 protected:
  Filters() { std::signal(SIGPIPE, SIG_IGN); }
  ~Filters() override {
    EXPECT_EQ(descriptorsInUse(), before_);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
  }

 private:
  std::size_t before_ = descriptorsInUse();
};

TEST_F(Filters, TurnInputIntoOutputWhateverTheirOrder) {
  const std::string large(900000, 'x');
  EXPECT_EQ(told(shell("cat"), large), large);
  EXPECT_EQ(told(shell("tr a-z A-Z")), "IN");
  EXPECT_EQ(told(shell("echo none of it"), std::string(5000000, 'x')), "none of it\n");
  EXPECT_EQ(told(shell("exec 0<&-; echo closed; sleep 0.1"), large), "closed\n");
  TextFilter wide = shell("head -c 500000 /dev/zero | tr '\\0' y; cat");
  wide.outputMiB = 2;
  EXPECT_EQ(told(wide, large).size(), 1400000U);
}

TEST_F(Filters, GiveWellFormedText) {
  EXPECT_EQ(told(shell("printf 'a\\377b'")), "a\uFFFDb");
  EXPECT_EQ(told(shell("true")), "");
}

TEST_F(Filters, FailuresAreToldWithTheFirstLineOfTheirErrors) {
  struct Case {
    const char* script;
    const char* expected;
  };
  const std::vector<Case> cases{
      {"echo text; exit 3", "failed with exit code 3"},
      {"printf '\\n  no\\001such\\377 page\\nmore\\n' >&2; exit 1",
       "failed with exit code 1; it says \"no such\uFFFD page\""},
      {"kill -9 $$", "was ended by signal 9, perhaps for lack of memory"},
      {"head -c 2000000 /dev/zero", "wrote more than 1 MiB of text"},
      {"head -c 1048577 /dev/zero", "wrote more than 1 MiB of text"},
  };
  for (const Case& c : cases) EXPECT_EQ(told(shell(c.script)), c.expected) << c.script;
  EXPECT_EQ(told(shell("head -c 1048576 /dev/zero")).size(), 1048576U);
  EXPECT_EQ(told(shell("head -c 3000000 /dev/zero >&2; echo text")), "text\n");
}

TEST_F(Filters, TimeEndsThemWithAllThatTheyStarted) {
  const test::Folder folder;
  const auto file = folder.path() / "late";
  const std::string late = "(sleep 1.5; echo late >" + file.string() + ") & ";
  for (const std::string& leave : {late, "setsid sh -c '" + late + "'; "}) {
    EXPECT_EQ(told(shell(leave + "sleep 60", 1)), "took longer than 1 seconds") << leave;
    EXPECT_EQ(told(shell(leave + "echo done")), "done\n") << leave;  // nobody waits for the pipe
  }
  EXPECT_EQ(told(shell("while :; do :; done", 1)).substr(0, 4), "took");
  std::this_thread::sleep_for(std::chrono::seconds(1));
  EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(Filters, EndWithTheServerWhateverSessionTheyAreIn) {
  const auto folder =
      std::filesystem::temp_directory_path() / ("qorserver-filters-" + std::to_string(::getpid()));
  std::filesystem::create_directory(folder);
  const std::string at = folder.string();
  const pid_t server = ::fork();
  if (server == 0) {
    static_cast<void>(
        runTextFilter(shell("setsid sh -c '(sleep 1.5; echo >" + at + "/late) & '; echo >" + at +
                            "/started; sleep 1.5; echo >" + at + "/late"),
                      "in"));
    ::_exit(0);
  }
  for (int i = 0; i < 2000 && !std::filesystem::exists(folder / "started"); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  EXPECT_TRUE(std::filesystem::exists(folder / "started"));
  ::kill(server, SIGKILL);
  EXPECT_EQ(::waitpid(server, nullptr, 0), server);
  std::this_thread::sleep_for(std::chrono::seconds(2));
  EXPECT_FALSE(std::filesystem::exists(folder / "late"));
  std::filesystem::remove_all(folder);
}

TEST_F(Filters, MemoryIsBounded) {
  TextFilter greedy = shell("dd if=/dev/zero of=/dev/null bs=200M count=1");
  greedy.memoryMiB = 64;
  EXPECT_EQ(told(greedy).substr(0, 47), "failed with exit code 1; it says \"dd: memory ex");
  greedy.memoryMiB = 512;
  EXPECT_EQ(told(greedy), "");
}

/// The shell's own descriptors, environment, limits and privileges, as it sees them.
TEST_F(Filters, HaveNothingOfTheServers) {
  ::setenv("QOR_TEST_SECRET", "leaked", 1);
  constexpr int INHERITABLE = 200;  // for want of O_CLOEXEC
  ASSERT_EQ(::dup2(STDERR_FILENO, INHERITABLE), INHERITABLE);
  EXPECT_EQ(told(shell("env | cut -d= -f1 | sort | grep -v '^_$' | tr '\\n' ' '")),
            "LANG PATH PWD ");
  EXPECT_EQ(told(shell("[ -e /proc/$$/fd/1 ] && ! [ -e /proc/$$/fd/200 ] && echo closed")),
            "closed\n");
  EXPECT_EQ(
      told(shell("grep -E '^(NoNewPrivs|SigIgn|SigBlk)' /proc/$$/status | tr -s '\\t\\n' ' '")),
      "SigBlk: 0000000000000000 SigIgn: 0000000000000000 NoNewPrivs: 1 ");
  EXPECT_EQ(told(shell("ulimit -c; ulimit -n; ulimit -t; ulimit -v; pwd")),
            "0\n256\n20\n524288\n/\n");
  ::close(INHERITABLE);
  ::unsetenv("QOR_TEST_SECRET");
}

TEST(TextFilters, TheNearestRowCounts) {
  const std::vector<TextFilter> rows{{"*/*", {"any"}},
                                     {"Application/PDF", {"pdf"}},
                                     {"application/*", {"application"}},
                                     {"text/rtf", {"rtf"}}};
  const auto chosen = [&rows](const char* type) {
    const TextFilter* row = filterFor(rows, parseContentType(type).name);
    return row == nullptr ? "none" : row->command[0];
  };
  EXPECT_EQ(chosen("application/pdf; x=y"), "pdf");
  EXPECT_EQ(chosen("application/zip"), "application");
  EXPECT_EQ(chosen("application/*"), "application");
  EXPECT_EQ(chosen("image/png"), "any");
  EXPECT_EQ(chosen("text/rtf"), "rtf");
  for (const char* type : {"text/plain", "application/json", "text/html", "unknown", ""}) {
    EXPECT_EQ(chosen(type), "none") << type;
  }
}

TEST(TextFilters, ARowThatCannotWorkIsRefused) {
  const TextFilter good{"a/b", {"/bin/sh"}};
  EXPECT_NO_THROW(checkTextFilter(good));
  const std::vector<TextFilter> bad{{"", {"sh"}},
                                    {"pdf", {"sh"}},
                                    {"a/", {"sh"}},
                                    {"/b", {"sh"}},
                                    {"text/*", {"sh"}},
                                    {"a/b", {}},
                                    {"a/b", {""}},
                                    {"a/b", {"no-such-one"}},
                                    {"a/b", {"../bin/sh"}},
                                    {"a/b", {"/bin/none"}},
                                    {"a/b", {"sh"}, 0},
                                    {"a/b", {"sh"}, 1, 0},
                                    {"a/b", {"sh"}, 1, 1, 0}};
  for (const TextFilter& filter : bad) {
    EXPECT_THROW(checkTextFilter(filter), Refusal) << filter.contentType;
  }
}

TEST_F(Filters, ThatAreNoProgramsAreToldAsSuch) {
  const test::Folder folder;
  const std::string file = folder.file("program", "no program");
  std::filesystem::permissions(file, std::filesystem::perms::owner_all);
  try {
    static_cast<void>(runTextFilter({"a/b", {file}}, "in"));
    ADD_FAILURE() << "it ran";
  } catch (const Refusal& refusal) {
    EXPECT_NE(refusal.fault().text.find("could not be started: Exec format error"),
              std::string::npos)
        << refusal.fault().text;
  }
}

using testing::documentOf;
using testing::requestFrame;

class FilteredDocuments : public testing::ConnectionFixture {
 protected:
  FilteredDocuments() {
    std::signal(SIGPIPE, SIG_IGN);
    context().filters = {
        {"application/x-upper", {"tr", "A-Z", "a-z"}},
        {"application/x-slow", {"sh", "-c", "sleep 1; cat"}, 10},
        {"application/x-broken", {"sh", "-c", "echo page 7 is damaged >&2; exit 1"}}};
    create("c");
  }
  static std::string document(const std::string& type, const std::string& key,
                              const std::string& action = "asyncAddDocument") {
    return requestFrame("action: " + action + "\nindex: c\nmimeType: " + type + "\n",
                        documentOf(key, "WORD"));
  }
};

TEST_F(FilteredDocuments, AreIndexedOrRejectedInTheOrderOfTheirConnection) {
  auto socket = connect();
  write(socket, document("text/plain", "plain") + document("application/x-slow", "slow") +
                    document("application/x-broken", "broken") +
                    document("application/x-other", "other") +
                    document("application/x-upper", "upper") + document("text/plain", "slow"));
  write(socket, document("application/x-upper", "last", "addDocument"));
  EXPECT_EQ(read(socket, 2), testing::u16(1));
  EXPECT_EQ(find("word").size(), 4U);
  EXPECT_EQ(outcomes(),
            (std::vector<std::string>{"plain", "slow", "broken=SRV_FILTER_FAILED",
                                      "other=SRV_CONTENT_TYPE_UNSUPPORTED", "upper", "slow"}));
}

TEST_F(FilteredDocuments, TheirReadingIsPartOfTheTimeThatIsToldOfThem) {
  auto socket = connect();
  write(socket, document("application/x-slow", "slow") + requestFrame("action: getStatus\n"));
  EXPECT_EQ(read(socket, 2).size(), 2U);
  const auto writer = static_cast<std::size_t>(Lane::WRITER) - 1;
  EXPECT_GE(board().metrics().durations[writer].seconds(), 1);
}

TEST_F(FilteredDocuments, ASlowOneHoldsUpNobodyElse) {
  auto slow = connect();
  write(slow, document("application/x-slow", "slow", "addDocument"));
  auto other = connect();
  const auto start = std::chrono::steady_clock::now();
  write(other, document("text/plain", "plain", "addDocument"));
  EXPECT_EQ(read(other, 2), testing::u16(1));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
  EXPECT_EQ(read(slow, 2), testing::u16(1));
  EXPECT_EQ(find("word").size(), 2U);
}

}  // namespace
}  // namespace orvix::server
