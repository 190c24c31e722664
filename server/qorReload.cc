// SPDX-License-Identifier: Apache-2.0
#include "server/qorReload.h"

#include <filesystem>
#include <utility>

#include "server/qorConfigKeys.h"
#include "server/qorLog.h"
#include "server/qorRefusal.h"
#include "server/qorServiceManager.h"

namespace orvix::server {

Tokens tokensOf(const ServerConfig& config) {
  return config.tokenFile.empty() ? Tokens() : Tokens(std::filesystem::path(config.tokenFile));
}

std::string listOf(const std::vector<std::string>& names) {
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "" : ",") + name;
  return list;
}

void Reload::operator()() const {
  servicemanager::reloading();
  readAgain();
  servicemanager::reloaded();
}

void Reload::readAgain() const noexcept {
  try {
    const Settings now = line_.settings();
    for (const std::string& fault : now.faults) {
      log(LogLevel::ERROR, "reload_refused", {{"text", fault}});
    }
    if (now.faults.empty()) apply(now.config);
  } catch (...) {
    logFault(LogLevel::ERROR, "reload_refused", currentFault("Reading the settings again failed"));
  }
}

/// Where the tokens lie, and whether there are any at all, is settled at start: a slip in the file
/// must not open the server to everybody.
void Reload::apply(const ServerConfig& now) const {
  Tokens tokens = tokensOf(config_);
  const bool sameTokens = tokens == tokens_;
  const LogLevel before = logLevel();
  tokens_ = std::move(tokens);
  setLogLevel(now.logLevel);
  log(LogLevel::INFO, "reloaded",
      {{"tokens", tokens_.count()},
       {"tokens_changed", sameTokens ? "no" : "yes"},
       {"log_level", nameOf(now.logLevel)},
       {"log_level_before", nameOf(before)}});
  std::vector<std::string> waiting = changedKeys(config_, now);
  std::erase(waiting, "log.level");
  if (waiting.empty()) return;
  log(LogLevel::WARNING, "restart_needed", {{"settings", listOf(waiting)}});
}

}  // namespace orvix::server
