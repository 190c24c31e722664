// SPDX-License-Identifier: Apache-2.0
// The options that every torture program takes: --quick (a sample of a few seconds) and --seed N.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace orvix::torture {

struct Options {
  Options(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
      const std::string_view word = argv[i];
      if (word == "--quick") {
        quick = true;
      } else if (word == "--seed" && i + 1 < argc) {
        seed = static_cast<unsigned int>(std::strtoul(argv[++i], nullptr, 10));
      } else {
        std::fprintf(stderr, "usage: %s [--quick] [--seed N]\n", argv[0]);
        std::exit(2);
      }
    }
  }

  bool quick = false;
  unsigned int seed = 1;
};

}  // namespace orvix::torture
