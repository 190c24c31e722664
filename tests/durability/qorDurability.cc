// SPDX-License-Identifier: Apache-2.0
// Interrupts an indexing script in every way a machine does, and checks what is left.
//   durability kill SERVER [EVERY]   SIGKILL at each (or each EVERY-th) system call that writes
//   durability sync SERVER [EVERY]   each sync fails once, and all fail from then on
//   durability full SERVER           no file can grow any more, for two steps of the script
//   durability disk SERVER           a disk of its own runs full (skipped where nothing may be mounted)
//   durability order SERVER          nothing is answered between a rename and the sync of its folder
// Exit code 0 and a line of counts when nothing was lost.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>
#include <xapian.h>

#include "tests/durability/qorFullDisk.h"
#include "tests/durability/qorOrderCheck.h"
#include "tests/durability/qorPeer.h"
#include "tests/durability/qorScript.h"
#include "tests/durability/qorWatchedServer.h"
#include "tests/support/qorFolder.h"

namespace orvix::durability {
namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

/// The tracer counts each of them by itself.
const Words WRITES{"write",           "pwrite64",  "writev",    "pwritev",  "fsync",    "fdatasync",
                   "rename",          "renameat2", "link",      "unlink",   "unlinkat", "mkdir",
                   "mkdirat",         "rmdir",     "ftruncate", "truncate", "openat",   "fallocate",
                   "copy_file_range", "sendfile"};

struct Case {
  std::string program;
  fs::path folder;
  std::size_t failures = 0;

  [[nodiscard]] std::string data() const { return (folder / "data").string(); }
  [[nodiscard]] std::string log() const { return (folder / "log").string(); }
  void begin() const {
    fs::remove_all(folder);
    fs::create_directories(folder);
  }
  void expect(const std::string& where, const std::string& problem) {
    if (problem.empty()) return;
    std::cout << where << ": " << problem << '\n';
    ++failures;
  }
};

Words tracer(const Case& c, const std::string& calls, const std::string& fault) {
  Words words{"strace", "-f", "-qq", "-y", "-o", c.log(), "-e", "trace=" + calls};
  if (!fault.empty()) words.insert(words.end(), {"-e", "inject=" + calls + ":" + fault});
  return words;
}

std::string damageOf(const Case& c) {
  for (const auto& entry : fs::directory_iterator(fs::path(c.data()) / "collections")) {
    if (Xapian::Database::check(entry.path().string(), 0, nullptr) != 0) {
      return "the check finds damage in " + entry.path().string();
    }
  }
  return fs::is_empty(fs::path(c.data()) / "scratch") ? "" : "something is left in scratch";
}

/// A new server over what is left.
void checkAfterwards(Case& c, const std::string& where, const Model& model) {
  WatchedServer server(c.program, c.data(), {});
  if (server.port() == 0) return c.expect(where, "the server does not start again");
  {
    Peer peer(server.port());
    c.expect(where, violationOf(model, peer));
  }
  if (!server.terminate()) c.expect(where, "the server does not end properly");
  c.expect(where, damageOf(c));
}

/// Answers whether the script got to its end.
bool killAt(Case& c, const std::string& call, std::size_t number) {
  c.begin();
  Model model;
  std::size_t step = 0;
  {
    const WatchedServer server(c.program, c.data(),
                               tracer(c, call, "signal=KILL:when=" + std::to_string(number)));
    Peer peer(server.port());
    Script script(peer);
    while (step < Script::STEPS && script.step(step)) ++step;
    model = script.model();
  }
  checkAfterwards(
      c, "killed at " + call + " " + std::to_string(number) + " in step " + std::to_string(step),
      model);
  return step == Script::STEPS;
}

void killEverywhere(Case& c, std::size_t every) {
  std::size_t points = 0;
  std::size_t first = 1;  // goes on from call to call, so that a sample meets rare ones, too
  for (const std::string& call : WRITES) {
    for (; !killAt(c, call, first); first += every) ++points;
    first = 1 + first % every;
  }
  std::cout << points << " kills, at each " << every << ". writing call, " << c.failures
            << " failures\n";
}

/// Lines of the tracer's log that were injected, but for those about the file of outcomes: what is
/// told from memory was synced with the documents.
std::size_t injectedIn(const Case& c) {
  std::ifstream log(c.log());
  std::size_t count = 0;
  for (std::string line; std::getline(log, line);) {
    const bool outcomes = line.find("/outcomes>") != std::string::npos;
    count += line.find("(INJECTED)") != std::string::npos && !outcomes ? 1U : 0U;
  }
  return count;
}

/// Answers whether a sync was made to fail at all.
bool failSyncs(Case& c, const std::string& calls, std::size_t first, bool allFromThere) {
  c.begin();
  const std::string when = std::to_string(first) + (allFromThere ? "+" : "");
  const std::string where = calls + " failing at " + when;
  Model model;
  {
    const WatchedServer server(c.program, c.data(), tracer(c, calls, "error=EIO:when=" + when));
    if (server.port() == 0) return true;
    Peer peer(server.port());
    Peer reader(server.port());
    Script script(peer);
    std::size_t failed = 0;
    for (std::size_t step = 0; step < Script::STEPS; ++step) {
      const bool acknowledged = script.step(step);
      const std::size_t failedNow = injectedIn(c);
      const std::string which = where + ", step " + std::to_string(step);
      if (acknowledged && failedNow != failed) c.expect(which, "acknowledged after a failed sync");
      if (!acknowledged && failedNow == failed &&
          !script.model().collectionExists.contains(false)) {
        c.expect(which, "not acknowledged though no sync failed");
      }
      failed = failedNow;
      c.expect(which, searchViolationOf(script.model(), reader));
    }
    model = script.model();
    if (failed == 0 && !allFromThere) return false;
  }
  checkAfterwards(c, where, model);
  return true;
}

void failEverySync(Case& c, std::size_t every) {
  std::size_t points = 0;
  for (const char* call : {"fsync", "fdatasync"}) {
    for (std::size_t number = 1; failSyncs(c, call, number, false); number += every) {
      ++points;
      failSyncs(c, call, number, true);
      failSyncs(c, "fsync,fdatasync", number, true);
    }
  }
  std::cout << points << " syncs failed once, and all from there on, " << c.failures
            << " failures\n";
}

void fillAt(Case& c, std::size_t from, unsigned long long limit) {
  c.begin();
  const std::string where =
      "files limited to " + std::to_string(limit) + " from step " + std::to_string(from);
  Model model;
  {
    WatchedServer server(c.program, c.data(), {});
    Peer peer(server.port());
    Peer reader(server.port());
    Script script(peer);
    for (std::size_t step = 0; step < Script::STEPS; ++step) {
      if (step == from) server.limitFileSize(limit);
      if (step == from + 2) server.limitFileSize(RLIM_INFINITY);
      const bool acknowledged = script.step(step);
      const std::string which = where + ", step " + std::to_string(step);
      const bool limited = step >= from && step < from + 2;
      if (!acknowledged && !limited && from != 0)
        c.expect(which, "not acknowledged with room left");
      if (step != 0) c.expect(which, searchViolationOf(script.model(), reader));
    }
    model = script.model();
    server.limitFileSize(RLIM_INFINITY);
  }
  checkAfterwards(c, where, model);
}

void fillEverywhere(Case& c) {
  std::size_t points = 0;
  for (const unsigned long long limit : {0ULL, 5000ULL, 20000ULL, 50000ULL, 120000ULL}) {
    for (std::size_t step = 0; step < Script::STEPS; ++step, ++points) fillAt(c, step, limit);
  }
  std::cout << points << " times without room, " << c.failures << " failures\n";
}

void checkOrder(Case& c) {
  c.begin();
  {
    const WatchedServer server(
        c.program, c.data(),
        tracer(c, "rename,renameat,renameat2,fsync,fdatasync,sendto,sendmsg", {}));
    Peer peer(server.port());
    Script script(peer);
    for (std::size_t step = 0; step < Script::STEPS; ++step) {
      if (!script.step(step)) c.expect("order", "a step was not acknowledged");
    }
  }
  OrderCheck check;
  std::ifstream log(c.log());
  for (std::string line; std::getline(log, line);) check.line(line);
  c.expect("order", check.problem);
  if (check.renames < Script::BATCHES) c.expect("order", "the log shows too few renames");
  std::cout << check.renames << " renames synced before the next reply, " << c.failures
            << " failures\n";
}

constexpr int SKIPPED = 77;

/// Answers whether a disk could be mounted.
bool fillSmallDisks(Case& c) {
  std::size_t acknowledged = 0;
  std::size_t refused = 0;
  for (const unsigned mebibytes : {3U, 6U}) {
    c.begin();
    const SmallDisk disk(c.folder, mebibytes);
    if (!disk.mounted()) {
      std::cout << "SKIPPED: no disk can be mounted here: " << disk.why() << '\n';
      return false;
    }
    const FullDiskResult result = fillDisk(c.program, disk);
    for (const std::string& problem : result.problems) {
      c.expect("a disk of " + std::to_string(mebibytes) + " MiB", problem);
    }
    acknowledged += result.acknowledged;
    refused += result.refused;
  }
  std::cout << "2 full disks, " << acknowledged << " documents acknowledged and found, " << refused
            << " refused, " << c.failures << " failures\n";
  return true;
}

int run(const Words& words) {
  if (words.size() < 2) return 2;
  const std::size_t every = words.size() > 2 ? std::stoul(words[2]) : 1;
  const test::Folder folder;
  Case c{words[1], folder.path() / "case"};
  bool skipped = false;
  const std::map<std::string, std::function<void()>> modes{
      {"kill", [&] { killEverywhere(c, every); }},
      {"sync", [&] { failEverySync(c, every); }},
      {"full", [&] { fillEverywhere(c); }},
      {"disk", [&] { skipped = !fillSmallDisks(c); }},
      {"order", [&] { checkOrder(c); }}};
  const auto mode = modes.find(words[0]);
  if (mode != modes.end()) mode->second();
  if (skipped) return SKIPPED;
  return mode == modes.end() ? 2 : c.failures == 0 ? 0 : 1;
}

}  // namespace
}  // namespace orvix::durability

int main(int argc, char** argv) {
  return orvix::durability::run(orvix::durability::Words(argv + 1, argv + argc));
}
