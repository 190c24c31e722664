// SPDX-License-Identifier: Apache-2.0
// Manual pages in roff with the man macros. The programs say what stands in theirs; how it is written
// for `man` is said here alone.
#pragma once

#include <ostream>
#include <string>
#include <string_view>

namespace orvix::roff {

/// Text that roff takes as it is.
[[nodiscard]] std::string safe(std::string_view text);
[[nodiscard]] std::string bold(std::string_view text);
[[nodiscard]] std::string italic(std::string_view text);

/// The head of the page: "QORCTL", 1, "qorctl 1.0.0", "User commands".
void writeTitle(std::ostream& out, std::string_view page, int section, std::string_view source,
                std::string_view manual);
void writeSection(std::ostream& out, std::string_view title, std::string_view text = "");
/// A term, which is roff already, and its text under it.
void writeEntry(std::ostream& out, std::string_view term, std::string_view text);
/// Text in lines of a length that roff's tools like.
void writeFilled(std::ostream& out, std::string_view text);

}  // namespace orvix::roff
