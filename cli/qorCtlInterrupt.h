// SPDX-License-Identifier: Apache-2.0
// Ctrl-C as a wish to end in good order. Process-wide state: a signal knows no object. Only
// commands that can end half-way and still say what they did ask for it.
#pragma once

namespace orvix::ctl::interrupt {

/// From now on the first SIGINT is kept as a wish; a second one ends the process at once, as does
/// the first one in programs that never call this. A SIGINT that is ignored stays so.
void catchFirst();

/// Whether the first one has come.
[[nodiscard]] bool requested() noexcept;

/// Waits until the descriptor can be read without waiting. False: the wish came first.
[[nodiscard]] bool awaitReadable(int descriptor);

/// Sleeps. False: the wish came first.
[[nodiscard]] bool sleepFor(double seconds);

}  // namespace orvix::ctl::interrupt
