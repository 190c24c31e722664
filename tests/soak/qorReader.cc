// SPDX-License-Identifier: Apache-2.0
// A ledger is looked at before and after a search: only documents that nobody changed in between
// can be judged.
#include <algorithm>

#include "tests/soak/qorLoad.h"

namespace orvix::soak {

namespace {

/// The version that the document had all the time.
std::optional<int> steady(const Entries& before, const Entries& after, const std::string& key) {
  const auto first = before.find(key);
  const auto last = after.find(key);
  if (first == before.end() || last == after.end()) return std::nullopt;
  if (first->second.changes != last->second.changes) return std::nullopt;
  return first->second.certain();
}

}  // namespace

void ReaderLoad::step() {
  Owned& owned = owned_.at(dice_.below(static_cast<std::uint32_t>(owned_.size())));
  const std::uint32_t choice = dice_.below(100);
  if (choice < 70) {
    point(owned);
  } else if (choice < 78) {
    all(owned);
  } else if (choice < 86) {
    sorted(owned);
  } else if (choice < 92) {
    if (caller_.abandon(owned.name, "common").done()) world_.count(Operation::ABANDONED);
  } else if (choice < 96) {
    if (caller_.ask(Request::COLLECTION_STATUS, owned.name).done()) world_.count(Operation::STATUS);
  } else if (caller_.ask(Request::GET_STATUS, "").done()) {
    world_.count(Operation::STATUS);
  }
}

void ReaderLoad::point(Owned& owned) {
  const std::string key = "k" + std::to_string(dice_.below(WriterLoad::KEYS)) + "n";
  const Entry before = owned.ledger.look(key);
  const auto version = before.certain();
  const bool there = version.value_or(0) != 0;
  const auto hits = caller_.search(owned.name, there ? queryFor(key, *version) : key);
  world_.count(Operation::SEARCH);
  if (!hits || !version || owned.ledger.look(key).changes != before.changes) return;
  if (there && *hits != Keys{key}) world_.lost(key + " is not found");
  if (!there && !hits->empty()) world_.wrong(key + " is found and was deleted");
}

void ReaderLoad::all(Owned& owned) {
  const Entries before = owned.ledger.all();
  const auto hits = caller_.stream(owned.name, "common");
  if (!hits) return;
  world_.count(Operation::STREAM);
  const Entries after = owned.ledger.all();
  const std::set<std::string> keys(hits->begin(), hits->end());
  if (keys.size() != hits->size()) world_.wrong("a stream tells a document twice");
  for (const auto& [key, entry] : before) {
    const auto version = steady(before, after, key);
    if (!version) continue;
    if (*version != 0 && !keys.contains(key)) world_.lost(key + " is not in the stream");
    if (*version == 0 && keys.contains(key)) world_.wrong(key + " is streamed and was deleted");
  }
}

void ReaderLoad::sorted(Owned& owned) {
  const Entries before = owned.ledger.all();
  const auto hits = caller_.search(owned.name, "common",
                                   {{comm::StaticDefs::PARAM_SORT_FIELD, u"number"},
                                    {comm::StaticDefs::PARAM_SEARCH_SIZE, u"50"}});
  if (!hits) return;
  world_.count(Operation::SORTED);
  const Entries after = owned.ledger.all();
  int last = 0;
  for (const std::string& key : *hits) {
    const auto version = steady(before, after, key);
    if (!version) continue;
    if (*version < last) world_.wrong(key + " is out of order");
    last = std::max(last, *version);
  }
}

}  // namespace orvix::soak
