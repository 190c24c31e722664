// SPDX-License-Identifier: Apache-2.0
// Every version of a document has words at its start, at its end and in a field: one that is half
// there is found by some of them only.
#include "tests/durability/qorScript.h"

#include "tests/server/qorServerBytes.h"

namespace orvix::durability {

namespace {

namespace bytes = server::testing;

constexpr std::size_t DOCUMENTS_A_BATCH = 40;
constexpr const char* OK = "status 1";
const std::string OF_COLLECTION = "index: c\n";

std::string documentOf(const std::string& key, int version) {
  const std::string mark = std::to_string(version);
  return bytes::documentOf(key, "first" + mark + " common text " + key + " last" + mark,
                           {{"Indexable:[sortable]title", "field" + mark}});
}

std::string keyOf(std::size_t batch, std::size_t number) {
  return "b" + std::to_string(batch) + "d" + std::to_string(number);
}

/// Acknowledged: the new version and nothing else. Otherwise: any of the earlier ones, or the new.
void note(std::set<int>& versions, int version, bool acknowledged) {
  if (versions.empty()) versions.insert(0);
  if (acknowledged) versions.clear();
  versions.insert(version);
}

std::string compare(const Model& model, const std::string& key, int found) {
  const auto known = model.versions.find(key);
  const std::set<int> nothing{0};
  const std::set<int>& possible = known == model.versions.end() ? nothing : known->second;
  if (possible.contains(found)) return {};
  return "document " + key + " has version " + std::to_string(found) + ", which it cannot have";
}

std::string batchViolation(const Model& model, const std::map<std::string, int>& found) {
  for (const Keys& batch : model.doubtfulBatches) {
    std::size_t there = 0;
    for (const std::string& key : batch) there += found.contains(key) ? 1U : 0U;
    if (there != 0 && there != batch.size()) {
      return std::to_string(there) + " of " + std::to_string(batch.size()) + " documents from " +
             *batch.begin() + " on are there";
    }
  }
  return {};
}

/// Key and version of all documents; `problem` says when they cannot be told or one is half there.
std::map<std::string, int> foundBy(Peer& peer, std::string& problem) {
  std::map<std::string, int> found;
  const auto all = peer.search("c", "common");
  if (!all) problem = "the search is not answered";
  for (int version = 1; version <= 2 && problem.empty(); ++version) {
    const std::string mark = std::to_string(version);
    const auto first = peer.search("c", "first" + mark);
    if (!first || peer.search("c", "last" + mark) != first ||
        peer.search("c", "title:field" + mark) != first) {
      problem = "a document of version " + mark + " is half there";
      return found;
    }
    for (const std::string& key : *first) found[key] = version;
  }
  if (problem.empty() && found.size() != all->size()) problem = "a document is half there";
  return found;
}

}  // namespace

bool Script::step(std::size_t number) {
  if (number == 0) return create();
  if (number <= BATCHES) return batch(number - 1);
  if (number == BATCHES + 1) return change("b0d0", 0);
  if (number == BATCHES + 2) return change("b0d1", 2);
  if (number == BATCHES + 3) return backup();
  return drop();
}

bool Script::create() {
  model_.collectionExists = {true, false};
  if (peer_.ask("action: createCollection\n" + OF_COLLECTION) != OK) return false;
  model_.collectionExists = {true};
  return true;
}

bool Script::batch(std::size_t number) {
  Keys keys;
  for (std::size_t i = 0; i < DOCUMENTS_A_BATCH; ++i) {
    const std::string key = keyOf(number, i);
    keys.insert(key);
    note(model_.versions[key], 1, false);
    peer_.tell("action: asyncAddDocument\n" + OF_COLLECTION, documentOf(key, 1));
  }
  model_.doubtfulBatches.push_back(keys);
  peer_.tell("action: asyncAddDocument\n" + OF_COLLECTION, bytes::TERMINATOR);
  Keys rejected;
  const auto indexed = peer_.outcomes("c", rejected);
  if (!indexed) return false;
  // Told document by document: a failure in the middle of a batch takes only what came before it.
  for (const std::string& key : *indexed) note(model_.versions[key], 1, true);
  if (!indexed->empty()) model_.doubtfulBatches.pop_back();
  return *indexed == keys;
}

bool Script::change(const std::string& key, int version) {
  const char* action = version == 0 ? "action: deleteDocument\n" : "action: addDocument\n";
  model_.doubtfulBatches.clear();  // what is changed singly is not all or nothing any more
  note(model_.versions[key], version, false);
  if (peer_.ask(action + OF_COLLECTION, documentOf(key, version)) != OK) return false;
  note(model_.versions[key], version, true);
  return true;
}

bool Script::backup() {
  model_.backedUp = false;
  if (peer_.ask("action: backup\ndataDir: b\n" + OF_COLLECTION) != OK) return false;
  model_.backedUp = true;
  model_.backup = model_.versions;
  return true;
}

bool Script::drop() {
  model_.collectionExists.insert(false);
  if (peer_.ask("action: deleteCollection\n" + OF_COLLECTION) != OK) return false;
  model_.collectionExists = {false};
  return true;
}

std::string searchViolationOf(const Model& model, Peer& peer) {
  const auto verdict = peer.ask("action: openCollection\n" + OF_COLLECTION);
  if (!verdict) return "the server is gone";
  const bool exists = verdict == OK;
  if (!exists && verdict != "SRV_COLLECTION_UNKNOWN") return "opening gave " + *verdict;
  if (!model.collectionExists.contains(exists)) {
    return exists ? "the collection is there" : "the collection is not there";
  }
  if (!exists) return {};
  std::string problem;
  const auto found = foundBy(peer, problem);
  for (const auto& [key, version] : found) {
    if (problem.empty()) problem = compare(model, key, version);
  }
  for (const auto& [key, versions] : model.versions) {
    if (problem.empty() && !found.contains(key)) problem = compare(model, key, 0);
  }
  return problem.empty() ? batchViolation(model, found) : problem;
}

std::string violationOf(const Model& model, Peer& peer) {
  std::string problem = searchViolationOf(model, peer);
  if (!problem.empty()) return problem;
  Keys rejected;
  const auto told = peer.outcomes("c", rejected);
  for (const std::string& key : told.value_or(Keys())) {
    if (peer.search("c", "first1")->contains(key)) continue;
    return key + " is told as indexed and is not there";
  }
  if (model.backedUp) {
    const auto verdict =
        peer.ask("action: restore\ndataDir: b\nincremental: false\n" + OF_COLLECTION);
    if (verdict != OK) return "restoring gave " + verdict.value_or("nothing");
    Model restored;
    restored.collectionExists = {true};
    restored.versions = model.backup;
    problem = searchViolationOf(restored, peer);
    if (!problem.empty()) return "restored: " + problem;
  }
  static_cast<void>(peer.ask("action: createCollection\n" + OF_COLLECTION));
  const auto written = peer.ask("action: addDocument\n" + OF_COLLECTION, documentOf("after", 1));
  if (written != OK) return "the next write gave " + written.value_or("nothing");
  const auto hits = peer.search("c", "after");
  return hits && hits->contains("after") ? "" : "the next write is not found";
}

}  // namespace orvix::durability
