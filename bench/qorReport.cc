// SPDX-License-Identifier: Apache-2.0
#include "bench/qorReport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace orvix::bench {

namespace {

constexpr std::size_t COLUMNS = 8;
using Row = std::array<std::string, COLUMNS>;

const Row HEADINGS{"figure", "ours", "other", "median", "min", "max", "bar", ""};

std::string number(double value) {
  char text[40];
  const double size = std::fabs(value);
  const char* const format = size >= 1000  ? "%.0f"
                             : size >= 10  ? "%.1f"
                             : size >= 0.1 ? "%.2f"
                                           : "%.3f";
  std::snprintf(text, sizeof text, size == 0 ? "0" : format, value);
  return text;
}

std::string withUnit(double value, const Figure& figure) {
  if (figure.unit == "ns" && value >= 10'000) return number(value / 1000) + " us";
  return number(value) + (figure.unit.empty() ? "" : " " + figure.unit);
}

Row rowOf(const Outcome& outcome) {
  const Figure& figure = outcome.figure;
  Row row{figure.title,          withUnit(outcome.ours, figure), "", number(outcome.median),
          number(outcome.least), number(outcome.most),           "", ""};
  if (!figure.other.empty()) row[2] = withUnit(outcome.other, figure);
  if (figure.bar) {
    row[6] = (figure.better == Better::LOWER ? "<= " : ">= ") + number(*figure.bar);
    row[7] = outcome.reached() ? "reached" : "MISSED";
  }
  return row;
}

std::string asText(const std::vector<Row>& rows) {
  std::array<std::size_t, COLUMNS> widths{};
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < COLUMNS; ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  std::string text;
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < COLUMNS; ++i) {
      const std::string padding(widths[i] - row[i].size(), ' ');
      text += i == 0 ? row[i] + padding : "  " + padding + row[i];
    }
    text += '\n';
  }
  return text;
}

std::string asMarkdown(const std::vector<Row>& rows) {
  std::string text;
  for (const Row& row : rows) {
    text += '|';
    for (const std::string& cell : row) text += ' ' + cell + " |";
    text += &row == &rows.front() ? "\n|---|---|---|---|---|---|---|---|\n" : "\n";
  }
  return text;
}

}  // namespace

std::string table(const std::vector<Outcome>& outcomes, bool markdown) {
  std::string text;
  for (const bool withBar : {true, false}) {
    std::vector<Row> rows{HEADINGS};
    for (const Outcome& outcome : outcomes) {
      if (outcome.figure.bar.has_value() == withBar) rows.push_back(rowOf(outcome));
    }
    if (rows.size() == 1) continue;
    if (!withBar) text += text.empty() ? "for information\n\n" : "\nfor information\n\n";
    text += markdown ? asMarkdown(rows) : asText(rows);
  }
  return text;
}

std::string json(const std::vector<Outcome>& outcomes, const Settings& settings) {
  nlohmann::ordered_json all;
  all["rounds"] = settings.rounds;
  all["quick"] = settings.quick;
  all["figures"] = nlohmann::ordered_json::array();
  for (const Outcome& outcome : outcomes) {
    const Figure& figure = outcome.figure;
    nlohmann::ordered_json row;
    row["name"] = figure.name;
    row["title"] = figure.title;
    row["unit"] = figure.unit;
    row["better"] = figure.better == Better::LOWER ? "lower" : "higher";
    row["contender"] = figure.ours;
    row["ours"] = outcome.ours;
    if (!figure.other.empty()) {
      row["against"] = figure.other;
      if (!figure.plus.empty()) {
        row["plus"] = figure.plus;
        row["plusTimes"] = figure.plusTimes;
      }
      row["other"] = outcome.other;
    }
    row["median"] = outcome.median;
    row["min"] = outcome.least;
    row["max"] = outcome.most;
    if (figure.bar) {
      row["bar"] = *figure.bar;
      row["reached"] = outcome.reached();
    }
    all["figures"].push_back(row);
  }
  return all.dump(2) + '\n';
}

}  // namespace orvix::bench
