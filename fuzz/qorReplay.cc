// SPDX-License-Identifier: Apache-2.0
// Runs a target over stored inputs, without a fuzzer: fuzz_replay TARGET PATH... A path is a file
// or a folder of them. A ".hex" file holds one input per line in hexadecimal, blanks and what
// follows a '#' skipped; any other file is an input. With --unpack FOLDER the inputs are written
// there instead.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/qorTargets.h"
#include "tests/support/qorWire.h"

namespace {

namespace fs = std::filesystem;

void readFile(const fs::path& path, std::vector<std::string>& inputs) {
  std::ifstream file(path, std::ios::binary);
  if (path.extension() != ".hex") {
    inputs.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    return;
  }
  for (std::string line; std::getline(file, line);) {
    if (const std::string bytes = orvix::test::hex(line.substr(0, line.find('#'))); !bytes.empty())
      inputs.push_back(bytes);
  }
}

void readPath(const fs::path& path, std::vector<std::string>& inputs) {
  if (fs::is_regular_file(path)) readFile(path, inputs);
  if (!fs::is_directory(path)) return;
  for (const auto& entry : fs::directory_iterator(path)) readFile(entry.path(), inputs);
}

}  // namespace

int main(int count, char** words) {
  std::vector<std::string> inputs;
  std::string unpackTo;
  for (int i = 2; i < count; ++i) {
    if (std::string_view(words[i]) == "--unpack" && i + 1 < count) {
      unpackTo = words[++i];
    } else {
      readPath(words[i], inputs);
    }
  }
  for (const orvix::torture::FuzzTarget& target : orvix::torture::TARGETS) {
    if (count < 2 || std::string_view(target.name) != words[1]) continue;
    for (std::size_t i = 0; i < inputs.size(); ++i) {
      if (unpackTo.empty()) {
        std::fprintf(stderr, "input %zu of %zu\n", i + 1, inputs.size());
        target.run(inputs[i]);
      } else {
        std::ofstream(fs::path(unpackTo) / ("seed-" + std::to_string(i)), std::ios::binary)
            << inputs[i];
      }
    }
    std::printf("fuzz_replay %s: %zu inputs, no finding\n", target.name, inputs.size());
    return inputs.empty() ? 1 : 0;
  }
  std::fprintf(stderr, "usage: fuzz_replay TARGET PATH... [--unpack FOLDER]\n");
  return 1;
}
