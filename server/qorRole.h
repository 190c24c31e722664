// SPDX-License-Identifier: Apache-2.0
// Which server may write to a data directory: the one that raised the epoch last. Finds out when
// another server took the directory over where no lock could hinder it, on shared storage.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>

#include "server/qorRefusal.h"

namespace orvix::server {

/// Layout: one file of two lines, "epoch <20 digits>" and "instance <32 hex digits>", the latter
///         random for each server that started.
/// Errors: once the role is lost it stays lost until take().
/// Throws: STORAGE_FAILED when the file cannot be read or written or is not as above; READ_ONLY
///         when the role is lost.
/// Threads: any.
class Role {
 public:
  static constexpr const char* FILE_NAME = "role";

  /// Takes the role at once, unless told not to.
  explicit Role(std::filesystem::path folder, bool taking = true);

  /// Raises the epoch above everybody's, on disk for good.
  void take();
  /// Looks at the file. What another server does between this and a write remains unseen.
  void require();
  /// The same, but at a moment when the role is being taken nothing is looked at, nor waited for.
  void requireAtOnce();
  /// As the last look found it; never waits for a disk.
  [[nodiscard]] bool lost() const noexcept { return lost_; }
  [[nodiscard]] std::uint64_t epoch() const;

 private:
  struct Holder {
    std::uint64_t epoch = 0;
    std::string instance;
    bool operator==(const Holder&) const = default;
  };

  void look();
  [[nodiscard]] std::optional<Holder> read() const;
  void write(const Holder& holder) const;

  std::filesystem::path folder_;
  std::filesystem::path file_;
  mutable std::mutex mutex_;
  Holder own_;
  std::optional<Fault> loss_;
  std::atomic<bool> lost_ = false;  // whether there is a loss
};

}  // namespace orvix::server
