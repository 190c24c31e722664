// SPDX-License-Identifier: Apache-2.0
// A disk of a few megabytes that runs full under the server, and gets space again.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace orvix::durability {

/// Mounted for this process and its children alone, below `folder`; gone with the object. Makes a
/// mount namespace of its own, so the process must have one thread.
class SmallDisk {
 public:
  SmallDisk(const std::filesystem::path& folder, unsigned mebibytes);
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;
  ~SmallDisk();

  /// False when the system does not permit it; why() tells what it said.
  [[nodiscard]] bool mounted() const noexcept { return mounted_; }
  [[nodiscard]] const std::string& why() const noexcept { return why_; }
  [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }

 private:
  std::filesystem::path path_;
  std::string why_;
  bool mounted_ = false;
};

struct FullDiskResult {
  std::vector<std::string> problems;
  std::size_t acknowledged = 0;
  std::size_t refused = 0;
};

/// Fills the disk with documents, and then to its last block; looks at what is promised meanwhile,
/// after space is back, and after a restart.
[[nodiscard]] FullDiskResult fillDisk(const std::string& program, const SmallDisk& disk);

}  // namespace orvix::durability
