// SPDX-License-Identifier: Apache-2.0
// Reads a public test collection of information retrieval in the Cranfield layout: abstracts,
// questions, and which abstracts answer which question. Nothing of it is kept in this tree.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace orvix::bench {

struct Abstract {
  std::string key;  ///< its number in the collection
  std::string title;
  std::string text;
};

/// Relevance codes of one question's abstracts, by their keys.
using Judgements = std::map<std::string, int>;

struct Question {
  std::string text;
  Judgements judgements;
};

struct Cranfield {
  std::vector<Abstract> abstracts;
  std::vector<Question> questions;
};

/// Files:  cran.all.1400, cran.qry, cranqrel. Judgements count questions by position, from 1: the
///         numbers that the questions carry have gaps.
/// Throws: runtime_error, naming the file and what is wrong with it.
[[nodiscard]] Cranfield readCranfield(const std::filesystem::path& folder);

}  // namespace orvix::bench
