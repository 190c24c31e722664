// SPDX-License-Identifier: Apache-2.0
// From a TOML file to the settings. All faults are told, not only the first; a fault of the syntax
// ends the reading, for what follows it has no meaning.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "server/qorServerConfig.h"

namespace orvix::server {

struct ConfigReading {
  ServerConfig config;  ///< with the defaults where the file says nothing, or something faulty
  ConfigPlaces places;
  std::vector<std::string> faults;  ///< "FILE:LINE:COLUMN: what, and what to do", in that order
  bool understood = true;  ///< false: the file could not be read to its end; see its one fault
};

/// A file that cannot be read is one fault.
[[nodiscard]] ConfigReading readConfig(const std::filesystem::path& file);
/// `file` is for messages only.
[[nodiscard]] ConfigReading parseConfig(std::string_view text, const std::string& file);

}  // namespace orvix::server
