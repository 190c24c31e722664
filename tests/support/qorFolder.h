// SPDX-License-Identifier: Apache-2.0
// A folder of a test's own.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace orvix::test {

/// Fresh below `parent`; goes with all that is in it. Its path is empty when it could not be made.
class Folder {
 public:
  explicit Folder(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
    std::string name = (parent / "qor-test-XXXXXX").string();
    if (::mkdtemp(name.data()) != nullptr) path_ = name;
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  /// Writes a file; folders on its way are made. Gives its path.
  [[nodiscard]] std::string file(const std::string& name, const std::string& bytes) const {
    const std::filesystem::path file = path_ / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << bytes;
    return file.string();
  }

 private:
  std::filesystem::path path_;
};

}  // namespace orvix::test
