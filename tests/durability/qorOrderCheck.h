// SPDX-License-Identifier: Apache-2.0
// Reads the log of a traced run: whether every folder was synced between a rename in it and the next
// reply.
#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <set>
#include <string>

namespace orvix::durability {

/// What stands between the n-th pair of double quotes, or of '<' and '>'.
inline std::string quoted(const std::string& line, std::size_t number) {
  std::size_t at = 0;
  for (std::size_t i = 0; i < 2 * number; ++i) at = line.find('"', at) + 1;
  const std::size_t start = line.find('"', at) + 1;
  return line.substr(start, line.find('"', start) - start);
}

inline std::string inAngles(const std::string& line) {
  const std::size_t start = line.find('<') + 1;
  return line.substr(start, line.find('>') - start);
}

/// Follows the log line by line.
class OrderCheck {
 public:
  void line(const std::string& text) {
    const std::string thread = text.substr(0, text.find(' '));
    if (text.find(" rename") != std::string::npos &&
        text.find("/scratch/", text.rfind(", \"")) == std::string::npos) {
      const std::filesystem::path name(quoted(text, 1));
      unsynced_.insert(name.parent_path().string());
      ++renames;
    } else if (text.find("sync resumed>") != std::string::npos) {
      unsynced_.erase(syncing_[thread]);
    } else if (text.find(" fsync(") != std::string::npos) {
      syncing_[thread] = inAngles(text);
      if (text.find("unfinished") == std::string::npos) unsynced_.erase(syncing_[thread]);
    } else if (text.find(" send") != std::string::npos && !unsynced_.empty()) {
      problem = "a reply left before " + *unsynced_.begin() + " was synced";
    }
  }

  std::string problem;
  std::size_t renames = 0;

 private:
  std::set<std::string> unsynced_;
  std::map<std::string, std::string> syncing_;
};

}  // namespace orvix::durability
