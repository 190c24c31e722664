// SPDX-License-Identifier: Apache-2.0
// The kinds of load. Each works in a thread of its own, step by step, and holds the world's gate
// meanwhile. PAUSES is the share that a kind takes: the more, the less it does.
#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/soak/qorCaller.h"
#include "tests/soak/qorLedger.h"
#include "tests/soak/qorWorld.h"

namespace orvix::soak {

/// A collection whose outcomes and documents belong to one writer.
struct Owned {
  std::string name;
  Ledger ledger;
};

/// Adds with read-back, updates, deletes and batches with outcomes.
class WriterLoad {
 public:
  static constexpr std::uint32_t PAUSES = 1;
  static constexpr std::uint32_t KEYS = 300;

  /// Borrows all.
  WriterLoad(World& world, const std::string& token, std::deque<Owned>& owned, std::size_t first,
             std::size_t end, std::uint32_t seed)
      : world_(world),
        caller_(world, token),
        owned_(owned),
        first_(first),
        end_(end),
        dice_(seed) {}
  void step();

 private:
  void add(Owned& owned);
  void remove(Owned& owned);
  void batch(Owned& owned);
  void settleBatch(Owned& owned, const std::vector<Outcome>& told, bool whole);
  std::string anyKey();

  World& world_;
  Caller caller_;
  std::deque<Owned>& owned_;
  std::size_t first_;
  std::size_t end_;
  Dice dice_;
  Owned* unsettled_ = nullptr;        ///< of the batch whose outcomes are still to be heard
  std::map<std::string, int> batch_;  ///< its versions
  std::string marker_;                ///< its first document, which must be rejected
  std::uint64_t batches_ = 0;
};

/// Searches everything that writers own, in every form, and compares with their ledgers.
class ReaderLoad {
 public:
  static constexpr std::uint32_t PAUSES = 3;

  ReaderLoad(World& world, const std::string& token, std::deque<Owned>& owned, std::uint32_t seed)
      : world_(world), caller_(world, token), owned_(owned), dice_(seed) {}
  void step();

 private:
  void point(Owned& owned);
  void all(Owned& owned);
  void sorted(Owned& owned);

  World& world_;
  Caller caller_;
  std::deque<Owned>& owned_;
  Dice dice_;
};

/// Creates, fills, backs up, changes, restores and drops a collection of its own; backs up the
/// writers'; takes over; and has the server read its tokens again.
class AdminLoad {
 public:
  static constexpr std::uint32_t PAUSES = 4;
  static constexpr const char* COLLECTION = "administered";

  /// `lines` are those of the token file: the one that everybody uses, and another one.
  AdminLoad(World& world, const std::string& token, const std::string& other,
            std::vector<std::string> lines, std::filesystem::path tokenFile,
            std::deque<Owned>& owned, std::uint32_t seed);
  void step();
  /// The collection against what is known of it.
  [[nodiscard]] std::string compare(Caller& caller);

 private:
  void create();
  void change();
  void backup();
  void restore();
  void drop();
  void reload();

  World& world_;
  Caller caller_;
  Caller other_;
  std::vector<std::string> lines_;
  std::filesystem::path tokenFile_;
  std::deque<Owned>& owned_;
  Dice dice_;
  std::size_t number_ = 0;
  bool otherAdmitted_ = false;
  std::set<bool> exists_{false};
  Ledger ledger_;
  bool backedUp_ = false;
  Entries backup_;
};

/// Connections that want no good, and those that want the metrics. Owns the sockets that it leaves
/// open.
class HostileLoad {
 public:
  static constexpr std::uint32_t PAUSES = 20;

  HostileLoad(World& world, std::string token, std::uint32_t seed)
      : world_(world), token_(std::move(token)), dice_(seed) {}
  HostileLoad(const HostileLoad&) = delete;
  HostileLoad& operator=(const HostileLoad&) = delete;
  ~HostileLoad();
  void step();

 private:
  std::string nextAttack();
  void scrape();

  World& world_;
  std::string token_;
  Dice dice_;
  std::deque<int> held_;
};

}  // namespace orvix::soak
