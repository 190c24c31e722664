// SPDX-License-Identifier: Apache-2.0
#include <csignal>
#include <fstream>

#include "tests/soak/qorLoad.h"

namespace orvix::soak {

using comm::StaticDefs;

namespace {

constexpr const char* UNKNOWN = "SRV_COLLECTION_UNKNOWN";
constexpr std::uint32_t KEYS = 60;
constexpr auto RELOAD_LIMIT = std::chrono::seconds(10);
constexpr std::size_t WRITERS_BACKUP_EVERY = 40;

}  // namespace

AdminLoad::AdminLoad(World& world, const std::string& token, const std::string& other,
                     std::vector<std::string> lines, std::filesystem::path tokenFile,
                     std::deque<Owned>& owned, std::uint32_t seed)
    : world_(world),
      caller_(world, token),
      other_(world, other),
      lines_(std::move(lines)),
      tokenFile_(std::move(tokenFile)),
      owned_(owned),
      dice_(seed) {}

void AdminLoad::step() {
  ++number_;
  if (number_ % WRITERS_BACKUP_EVERY == 0) {
    const Owned& owned = owned_.at(dice_.below(static_cast<std::uint32_t>(owned_.size())));
    const Pairs where{{StaticDefs::PARAM_COLLECTION_DIR, u"of the writers"}};
    if (caller_.ask(Request::BACKUP, owned.name, where).done()) world_.count(Operation::BACKUP);
    return;
  }
  if (exists_ != std::set{true}) return create();
  const std::uint32_t choice = dice_.below(100);
  if (choice < 70) return change();
  if (choice < 80) return backup();
  if (choice < 88) return restore();
  if (choice < 91) return drop();
  if (choice < 94) return reload();
  if (caller_.ask(Request::TAKEOVER, "").done()) world_.count(Operation::TAKEOVER);
}

void AdminLoad::create() {
  exists_.insert(true);
  const Answer answer = caller_.ask(Request::CREATE_COLLECTION, COLLECTION);
  if (answer.lost) return;
  if (!answer.done() && answer.refusal != "SRV_COLLECTION_EXISTS") {
    world_.wrong("creating was refused: " + answer.refusal);
  }
  exists_ = {true};
  world_.count(Operation::CREATE);
}

void AdminLoad::change() {
  const std::string key = "a" + std::to_string(dice_.below(KEYS)) + "n";
  const bool removes = dice_.below(4) == 0;
  int version = 0;
  if (removes) {
    ledger_.beginDelete(key);
  } else {
    version = ledger_.begin(key);
  }
  const Answer answer =
      removes ? caller_.remove(COLLECTION, key) : caller_.add(COLLECTION, key, version, 20);
  if (answer.done()) static_cast<void>(ledger_.settle(key, version));
  if (answer.done()) world_.count(removes ? Operation::DELETE : Operation::ADD);
  if (!answer.refusal.empty()) world_.wrong("a change was refused: " + answer.refusal);
}

/// A lost answer leaves a copy of which nobody knows whether it is the old or the new one.
void AdminLoad::backup() {
  const Entries now = ledger_.all();
  backedUp_ = false;
  const Pairs where{{StaticDefs::PARAM_COLLECTION_DIR, u"copy"}};
  const Answer answer = caller_.ask(Request::BACKUP, COLLECTION, where);
  if (!answer.refusal.empty()) world_.wrong("a backup was refused: " + answer.refusal);
  if (!answer.done()) return;
  backedUp_ = true;
  backup_ = now;
  world_.count(Operation::BACKUP);
}

void AdminLoad::restore() {
  if (!backedUp_) return;
  ledger_.mayBe(backup_);
  const Answer answer = caller_.ask(
      Request::RESTORE, COLLECTION,
      {{StaticDefs::PARAM_COLLECTION_DIR, u"copy"}, {StaticDefs::PARAM_INCREMENTAL, u"false"}});
  if (!answer.refusal.empty()) world_.wrong("a restore was refused: " + answer.refusal);
  if (!answer.done()) return;
  ledger_.replace(backup_);
  world_.count(Operation::RESTORE);
  const std::string problem = compare(caller_);
  if (!problem.empty()) world_.lost("after a restore " + problem);
}

void AdminLoad::drop() {
  exists_.insert(false);
  const Answer answer = caller_.ask(Request::DROP_COLLECTION, COLLECTION);
  if (!answer.refusal.empty()) world_.wrong("dropping was refused: " + answer.refusal);
  if (!answer.done()) return;
  exists_ = {false};
  ledger_.replace({});
  world_.count(Operation::DROP);
}

/// Only this thread changes the collection. Narrows what is known to what is found.
std::string AdminLoad::compare(Caller& caller) {
  const Answer answer = caller.ask(Request::OPEN_COLLECTION, COLLECTION);
  if (answer.lost) return {};
  if (!answer.done() && answer.refusal != UNKNOWN) return "opening was refused: " + answer.refusal;
  if (!exists_.contains(answer.done())) {
    return answer.done() ? "a dropped collection is there" : "a collection is gone";
  }
  exists_ = {answer.done()};
  if (!answer.done()) {
    ledger_.replace({});
    return {};
  }
  std::string problem;
  const auto found = caller.everything(COLLECTION, problem);
  return !problem.empty() || !found ? problem : ledger_.compare(*found);
}

/// The server takes a token in, or stops to, some time after the signal.
void AdminLoad::reload() {
  const bool admit = !otherAdmitted_;
  const std::uint64_t life = world_.life();
  {
    std::ofstream file(tokenFile_.string() + ".new");
    file << lines_.at(0) << '\n' << (admit ? lines_.at(1) + "\n" : "");
  }
  std::filesystem::permissions(tokenFile_.string() + ".new", std::filesystem::perms::owner_read);
  std::filesystem::rename(tokenFile_.string() + ".new", tokenFile_);
  otherAdmitted_ = admit;
  if (life % 2 == 1) return;
  ::kill(world_.process(), SIGHUP);
  const auto deadline = Clock::now() + RELOAD_LIMIT;
  while (world_.life() == life && Clock::now() < deadline) {
    if (other_.admitted() == admit) return world_.count(Operation::RELOAD);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  if (world_.life() == life) world_.wrong("the token file was not read again");
}

}  // namespace orvix::soak
