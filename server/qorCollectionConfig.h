// SPDX-License-Identifier: Apache-2.0
// What a collection remembers about itself beside its documents: part of its stored metadata.
#pragma once

#include <string>
#include <string_view>

#include "server/qorProperties.h"

namespace orvix::server {

struct CollectionConfig {
  std::string displayName;
  std::string language;      ///< primary subtag, lower case
  Properties configuration;  ///< as the last configuration request gave it, without secrets

  [[nodiscard]] std::string store() const;
  /// Throws: STORAGE_FAILED when the bytes are no stored form.
  [[nodiscard]] static CollectionConfig load(std::string_view stored);
};

/// The properties that a configuration request asks to keep: all but those of the protocol itself
/// and those that carry credentials.
[[nodiscard]] Properties configurationOf(const Properties& request);

}  // namespace orvix::server
