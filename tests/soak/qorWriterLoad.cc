// SPDX-License-Identifier: Apache-2.0
#include "tests/soak/qorLoad.h"

namespace orvix::soak {

namespace {

constexpr std::uint32_t MAX_FILLERS = 400;
constexpr const char16_t* UTF8 = u"UTF-8";
constexpr const char16_t* NONE = u"no-such-charset";

}  // namespace

std::string WriterLoad::anyKey() { return "k" + std::to_string(dice_.below(KEYS)) + "n"; }

void WriterLoad::step() {
  if (unsettled_ != nullptr) {
    const auto told = caller_.outcomes(unsettled_->name);
    if (!told) return;
    settleBatch(*unsettled_, *told, false);
  }
  const auto share = static_cast<std::uint32_t>(end_ - first_);
  Owned& owned = owned_.at(first_ + dice_.below(share));
  const std::uint32_t choice = dice_.below(100);
  if (choice < 60) return add(owned);
  if (choice < 80) return remove(owned);
  batch(owned);
}

void WriterLoad::add(Owned& owned) {
  const std::string key = anyKey();
  const int version = owned.ledger.begin(key);
  const Answer answer = caller_.add(owned.name, key, version, dice_.below(MAX_FILLERS));
  if (!answer.refusal.empty()) return world_.wrong("an add was refused: " + answer.refusal);
  if (!answer.done()) return;
  world_.count(Operation::ADD);
  if (!owned.ledger.settle(key, version)) world_.lost(key + " was acknowledged and is not there");
  const auto hits = caller_.search(owned.name, queryFor(key, version));
  world_.count(Operation::SEARCH);
  if (hits && *hits != Keys{key}) world_.lost(key + " is not found after its acknowledgement");
}

void WriterLoad::remove(Owned& owned) {
  const std::string key = anyKey();
  owned.ledger.beginDelete(key);
  const Answer answer = caller_.remove(owned.name, key);
  if (!answer.refusal.empty()) return world_.wrong("a delete was refused: " + answer.refusal);
  if (!answer.done()) return;
  world_.count(Operation::DELETE);
  static_cast<void>(owned.ledger.settle(key, 0));
  const auto hits = caller_.search(owned.name, key);
  world_.count(Operation::SEARCH);
  if (hits && !hits->empty()) world_.wrong(key + " is found after its deletion");
}

void WriterLoad::batch(Owned& owned) {
  const std::uint64_t life = world_.life();
  unsettled_ = &owned;
  batch_.clear();
  marker_ = "marker" + std::to_string(++batches_);
  caller_.useBuffer(true);
  bool sent = !caller_.tell(owned.name, marker_, 1, NONE).lost;
  for (std::uint32_t i = 0; sent && i < 10 + dice_.below(80); ++i) {
    const std::string key = anyKey();
    if (batch_.contains(key)) continue;
    batch_[key] = owned.ledger.begin(key);
    sent = !caller_.tell(owned.name, key, batch_[key], UTF8).lost;
  }
  sent = sent && !caller_.endBatch(owned.name).lost;
  const auto told = sent ? caller_.outcomes(owned.name) : std::nullopt;
  caller_.useBuffer(false);
  if (told) settleBatch(owned, *told, life % 2 == 0 && world_.life() == life);
}

/// Outcomes of the batch before may be told once more, when the server did not learn that they were
/// received; the marker tells where this one's begin.
void WriterLoad::settleBatch(Owned& owned, const std::vector<Outcome>& told, bool whole) {
  bool begun = false;
  std::size_t heard = 0;
  for (const Outcome& outcome : told) {
    begun = begun || outcome.key == marker_;
    const auto sent = batch_.find(outcome.key);
    if (!begun || sent == batch_.end()) continue;
    if (!outcome.refusal.empty()) {
      world_.wrong("a document of a batch was rejected: " + outcome.refusal);
    } else if (!owned.ledger.settle(sent->first, sent->second)) {
      world_.lost(sent->first + " was told as indexed and is not there");
    }
    ++heard;
  }
  world_.count(Operation::BATCHED, heard);
  world_.count(Operation::OUTCOMES);
  if (whole && (!begun || heard != batch_.size())) {
    world_.wrong("of " + std::to_string(batch_.size()) + " documents of a batch " +
                 std::to_string(heard) + " have an outcome");
  }
  unsettled_ = nullptr;
  batch_.clear();
}

}  // namespace orvix::soak
