// SPDX-License-Identifier: Apache-2.0
// Copies into memory whose size is known at run time only, which FORTIFY checks from level 3 on,
// and keeps more on the stack than a page.
#include <cstdio>
#include <cstdlib>
#include <cstring>

int main(int argc, char** argv) {
  char large[20000];
  std::memset(large, argc, sizeof large);
  const std::size_t size = std::strlen(argv[0]) + 1;
  char* const copy = static_cast<char*>(std::malloc(size));
  if (copy == nullptr) return 1;
  std::memcpy(copy, argv[0], size + static_cast<std::size_t>(argc - 1));
  std::printf("%s %d\n", copy, large[std::strlen(copy)]);
  std::free(copy);
  return 0;
}
