// SPDX-License-Identifier: Apache-2.0
// The indexing script that is interrupted at every point, and what must be true afterwards.
#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tests/durability/qorPeer.h"

namespace orvix::durability {

/// What may be on disk. Versions of a document; 0: it is not there. An acknowledged request leaves
/// one possibility, any other one leaves both the state before and the one after it.
struct Model {
  std::set<bool> collectionExists{false};
  std::map<std::string, std::set<int>> versions;
  std::vector<Keys> doubtfulBatches;  ///< each is there as a whole or not at all
  bool backedUp = false;
  std::map<std::string, std::set<int>> backup;
};

/// create, 200 documents in 5 acknowledged batches, delete, replace, backup, drop.
class Script {
 public:
  static constexpr std::size_t BATCHES = 5;
  static constexpr std::size_t STEPS = 1 + BATCHES + 4;

  explicit Script(Peer& peer) : peer_(peer) {}

  /// Takes one step; answers whether it was acknowledged. The model follows.
  bool step(std::size_t number);
  [[nodiscard]] const Model& model() const noexcept { return model_; }

 private:
  bool create();
  bool batch(std::size_t number);
  bool change(const std::string& key, int version);
  bool backup();
  bool drop();

  Peer& peer_;
  Model model_;
};

/// What does not fit the model, in words; empty when all is well. Writes a further document.
[[nodiscard]] std::string violationOf(const Model& model, Peer& peer);
/// Only looks: what a search must find at any moment.
[[nodiscard]] std::string searchViolationOf(const Model& model, Peer& peer);

}  // namespace orvix::durability
