// SPDX-License-Identifier: Apache-2.0
// Takes up settings while the server runs: tokens and what is logged.
#pragma once

#include <string>
#include <vector>

#include "server/qorAccess.h"
#include "server/qorServerOptions.h"

namespace orvix::server {

/// Those of the token file; without one everybody may do everything.
[[nodiscard]] Tokens tokensOf(const ServerConfig& config);

/// With commas, for the log.
[[nodiscard]] std::string listOf(const std::vector<std::string>& names);

/// Whatever is wrong with the files leaves everything as it was. The log says what changed, what
/// changed and waits for a restart, or what is wrong.
/// Threads: that of the tokens.
class Reload {
 public:
  /// Borrows all, for its whole life. `config` is what the server was started with.
  Reload(const CommandLine& line, const ServerConfig& config, Tokens& tokens)
      : line_(line), config_(config), tokens_(tokens) {}

  void operator()() const;

 private:
  void readAgain() const noexcept;
  void apply(const ServerConfig& now) const;

  const CommandLine& line_;
  const ServerConfig& config_;
  Tokens& tokens_;
};

}  // namespace orvix::server
