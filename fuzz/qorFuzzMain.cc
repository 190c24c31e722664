// SPDX-License-Identifier: Apache-2.0
// The entry of one libFuzzer program: the build says which target it is.
#include <cstddef>
#include <cstdint>

#include "fuzz/qorTargets.h"

// NOLINTNEXTLINE(readability-identifier-naming): libFuzzer looks for this name
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  orvix::torture::QOR_FUZZ_TARGET({reinterpret_cast<const char*>(data), size});
  return 0;
}
