// SPDX-License-Identifier: Apache-2.0
// One client of the library that follows the server from life to life, times every request and
// tells an answer, a refusal and a lost connection apart.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "qorcomm.h"
#include "tests/soak/qorLedger.h"
#include "tests/soak/qorWorld.h"

namespace orvix::soak {

using Pairs = std::vector<std::pair<icu::UnicodeString, icu::UnicodeString>>;
using Keys = std::vector<std::string>;
using Request = comm::ClientRequest;

/// Of the documents that the server has read by a filter.
inline constexpr const char* FILTERED_TYPE = "application/x-soak";

struct Answer {
  bool lost = false;    ///< the server went away meanwhile
  std::string refusal;  ///< its message id; empty: success
  [[nodiscard]] bool done() const { return !lost && refusal.empty(); }
};

struct Outcome {
  std::string key;
  std::string refusal;
};

/// Errors: a failure without an excuse is reported to the world as wrong and counts as lost.
class Caller {
 public:
  static constexpr auto HANG = std::chrono::seconds(30);

  /// Borrows the world. The token is what every request carries.
  Caller(World& world, const std::string& token);

  Answer ask(Request::REQUEST kind, const std::string& collection, const Pairs& pairs = {});
  Answer add(const std::string& collection, const std::string& key, int version,
             std::uint32_t fillers);
  /// Is not answered and may stay with the client until the batch's end.
  Answer tell(const std::string& collection, const std::string& key, int version,
              const char16_t* charset);
  Answer endBatch(const std::string& collection);
  Answer remove(const std::string& collection, const std::string& key);

  /// Nothing when the server went away.
  std::optional<Keys> search(const std::string& collection, const std::string& query,
                             const Pairs& more = {});
  std::optional<Keys> stream(const std::string& collection, const std::string& query);
  /// Reads the first hits only.
  Answer abandon(const std::string& collection, const std::string& query);
  std::optional<std::vector<Outcome>> outcomes(const std::string& collection);
  /// Every document with its version, found by words in all three places; `problem` names one that
  /// is half there. Nothing when the server went away or the collection is not there.
  std::optional<Found> everything(const std::string& collection, std::string& problem);
  void useBuffer(bool buffered);
  /// Whether the server takes the token.
  [[nodiscard]] bool admitted();

 private:
  template <typename Work>
  Answer timed(const Work& work);
  Answer send(Request& request, bool read = true);
  Answer sendDocument(Request& request, const std::string& key, int version, std::uint32_t fillers);
  [[nodiscard]] util::ExtendedProperties propertiesOf(const Pairs& pairs) const;
  comm::TamberPerfClient& client();

  World& world_;
  icu::UnicodeString token_;
  std::uint64_t life_ = 0;
  bool buffered_ = false;
  std::unique_ptr<comm::TamberPerfClient> client_;
  comm::ClientResponse response_;
};

}  // namespace orvix::soak
