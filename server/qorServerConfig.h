// SPDX-License-Identifier: Apache-2.0
// All that an administrator can set, with the defaults. It is filled from a file
// (qorConfigReader.h) and from the command line (qorServerOptions.h), and checked as a whole before
// anything is done with it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "server/qorLog.h"
#include "server/qorTextFilter.h"

namespace orvix::server {

struct ServerConfig {
  std::string data;  ///< no default
  std::string listen = "127.0.0.1:8715";
  std::string tokenFile;  ///< empty: everybody may do everything
  bool readOnly = false;
  std::uint32_t idleSeconds = 600;  ///< 0: for ever
  std::uint32_t maxConnections = 16384;
  std::uint32_t searchThreads = 2;
  LogLevel logLevel = LogLevel::INFO;
  std::vector<std::string> backupRoots;  ///< folders besides the data directory's own
  std::string metricsListen;             ///< empty: no metrics
  std::vector<TextFilter> filters;
};

/// Where a value came from, by the key's full name ("log.level", "filter[0].command"), as it opens
/// a message: "FILE:LINE:COLUMN", or the option.
using ConfigPlaces = std::map<std::string, std::string>;

/// What is wrong with values of the right type: addresses, files, folders and programs that are not
/// what they have to be. Reads the token file; touches neither the data directory nor the network.
/// Each fault starts with its place.
[[nodiscard]] std::vector<std::string> faultsOf(const ServerConfig& config,
                                                const ConfigPlaces& places);

}  // namespace orvix::server
