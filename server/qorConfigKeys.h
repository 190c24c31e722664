// SPDX-License-Identifier: Apache-2.0
// The one table of settings: the file, the command line and the comparison of two configurations
// all go by its rows. A new setting is a field of ServerConfig and a row here.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "server/qorServerConfig.h"

namespace orvix::server {

template <class Settings>
using ConfigSlot =
    std::variant<std::string Settings::*, bool Settings::*, std::uint32_t Settings::*,
                 LogLevel Settings::*, std::vector<std::string> Settings::*,
                 std::vector<TextFilter> Settings::*>;

template <class Settings>
struct ConfigKey {
  std::string_view name;  ///< in the file; what stands before a dot is the table's name
  ConfigSlot<Settings> slot;
  std::uint32_t least;  ///< a number's value, a text's bytes, a list's elements
  std::uint32_t most;
  std::string_view says;    ///< for people
  const char* option = "";  ///< of the command line; empty: only the file has it
  const char* value = "";   ///< what stands for the option's value in its help
  bool required = false;    ///< in each table that may hold it
};

inline constexpr std::uint32_t MAX_CONFIG_TEXT = 4096;

inline constexpr std::array<ConfigKey<ServerConfig>, 11> SERVER_KEYS{{
    {"data", &ServerConfig::data, 1, MAX_CONFIG_TEXT,
     "Folder of the collections and backups; made if missing", "--data", "DIR"},
    {"listen", &ServerConfig::listen, 1, MAX_CONFIG_TEXT,
     "HOST:PORT to listen on; port 0 takes a free one", "--listen", "HOST:PORT"},
    {"token_file", &ServerConfig::tokenFile, 1, MAX_CONFIG_TEXT,
     "File with lines that \"qorserver token\" makes; requests must carry such a token",
     "--token-file", "FILE"},
    {"read_only", &ServerConfig::readOnly, 0, 1, "Refuse every request that changes data",
     "--read-only"},
    {"idle_timeout", &ServerConfig::idleSeconds, 0, 31536000,
     "Seconds after which a silent connection is closed; 0: never", "--idle-timeout", "SECONDS"},
    {"max_connections", &ServerConfig::maxConnections, 1, 1000000,
     "Connections at one time; more are closed at once", "--max-connections", "N"},
    {"search_threads", &ServerConfig::searchThreads, 1, 256, "Threads that searches run on",
     "--search-threads", "N"},
    {"log.level", &ServerConfig::logLevel, 1, 4, "What is logged: error, warning, info or debug",
     "--log-level", "LEVEL"},
    {"backup.roots", &ServerConfig::backupRoots, 0, 100,
     "Folder below which backups may be placed by their path; may be repeated", "--backup-root",
     "DIR"},
    {"metrics.listen", &ServerConfig::metricsListen, 1, MAX_CONFIG_TEXT,
     "HOST:PORT, on a loopback address, that tells metrics over HTTP", "--metrics-listen",
     "HOST:PORT"},
    {"filter", &ServerConfig::filters, 0, 1000,
     "Programs that turn documents of other types into text"},
}};

inline constexpr std::array<ConfigKey<TextFilter>, 5> FILTER_KEYS{{
    {"content_type", &TextFilter::contentType, 3, 255, "The type, such as \"application/pdf\"", "",
     "", true},
    {"command", &TextFilter::command, 1, 1000, "The program, by its whole path, and its arguments",
     "", "", true},
    {"seconds", &TextFilter::seconds, 1, 3600, "Time for one document"},
    {"memory_mib", &TextFilter::memoryMiB, 16, 65536, "Memory that the program may take"},
    {"output_mib", &TextFilter::outputMiB, 1, 1024, "Text that it may give"},
}};

/// What may stand there: "a whole number from 1 to 256".
template <class Settings>
[[nodiscard]] std::string expectationOf(const ConfigKey<Settings>& key);

/// The default in words; empty where there is none.
template <class Settings>
[[nodiscard]] std::string defaultOf(const ConfigKey<Settings>& key);

/// Names of the settings in which the two differ, filters as a whole.
[[nodiscard]] std::vector<std::string> changedKeys(const ServerConfig& before,
                                                   const ServerConfig& now);

}  // namespace orvix::server
