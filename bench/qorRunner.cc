// SPDX-License-Identifier: Apache-2.0
#include "bench/qorRunner.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <stdexcept>

namespace orvix::bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds FULL_SLOT{3000};  // of one group in one round
constexpr std::chrono::milliseconds QUICK_SLOT{200};

/// A contender that takes part: kept ready from its first round to the last.
struct Entrant {
  const Contender* contender = nullptr;
  std::unique_ptr<Operation> operation;
  Samples samples;
  std::vector<double> rounds;
};

struct Group {
  std::string name;
  std::vector<Entrant> entrants;
};

class Field {
 public:
  Field(const std::vector<Figure>& figures, const Contenders& contenders) {
    for (const Figure& figure : figures) {
      enter(figure.group, figure.ours, contenders);
      if (!figure.other.empty()) enter(figure.group, figure.other, contenders);
      if (!figure.plus.empty()) enter(figure.group, figure.plus, contenders);
    }
  }

  void round(const Settings& settings) {
    for (Group& group : groups_) runGroup(group, settings);
  }

  [[nodiscard]] const std::vector<double>& of(const std::string& group,
                                              const std::string& contender) const {
    for (const Group& one : groups_) {
      for (const Entrant& entrant : one.entrants) {
        if (one.name == group && entrant.contender->name == contender) return entrant.rounds;
      }
    }
    throw std::logic_error("no contender " + contender + " in " + group);
  }

 private:
  void enter(const std::string& groupName, const std::string& name, const Contenders& contenders) {
    const auto known = std::find_if(contenders.begin(), contenders.end(),
                                    [&](const Contender& one) { return one.name == name; });
    if (known == contenders.end()) throw std::logic_error("no contender is called " + name);
    auto group = std::find_if(groups_.begin(), groups_.end(),
                              [&](const Group& one) { return one.name == groupName; });
    if (group == groups_.end()) group = groups_.insert(group, Group{groupName, {}});
    for (const Entrant& entrant : group->entrants) {
      if (entrant.contender == &*known) return;
    }
    group->entrants.push_back({&*known, nullptr, {}, {}});
  }

  /// Slices in turn until the time is up, so that a drift of the machine meets all of them. Who
  /// goes first changes from slice to slice: nobody always runs behind the same neighbour.
  static void runGroup(Group& group, const Settings& settings) {
    prepare(group, settings);
    const auto end = Clock::now() + (settings.quick ? QUICK_SLOT : FULL_SLOT);
    const std::size_t count = group.entrants.size();
    for (std::size_t first = 0; first == 0 || Clock::now() < end; ++first) {
      bool more = false;
      for (std::size_t i = 0; i < count; ++i) {
        Entrant& entrant = group.entrants[(first + i) % count];
        const bool once = entrant.contender->once;
        if (once && !entrant.samples.empty()) continue;
        slice(entrant, entrant.samples);
        more = more || !once;
      }
      if (!more) break;
    }
    for (Entrant& entrant : group.entrants) {
      entrant.rounds.push_back(entrant.samples.value(entrant.contender->meter));
      entrant.samples.clear();
    }
  }

  static void slice(Entrant& entrant, Samples& into) {
    try {
      entrant.operation->prepare();
      measure(*entrant.operation, entrant.contender->meter, entrant.contender->count, into);
    } catch (const std::exception& e) {
      throw std::runtime_error(entrant.contender->name + ": " + e.what());
    }
  }

  /// Before the first round: makes the operations and warms them up.
  static void prepare(Group& group, const Settings& settings) {
    for (Entrant& entrant : group.entrants) {
      if (entrant.operation != nullptr) continue;
      entrant.operation = entrant.contender->make(settings);
      Samples dropped;
      if (entrant.contender->meter != Meter::READING) slice(entrant, dropped);
    }
  }

  std::vector<Group> groups_;
};

double medianOf(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

/// Round by round, what ours is held against.
std::vector<double> othersOf(const Figure& figure, const Field& field) {
  std::vector<double> others = field.of(figure.group, figure.other);
  if (figure.plus.empty()) return others;
  const std::vector<double>& plus = field.of(figure.group, figure.plus);
  for (std::size_t i = 0; i < others.size(); ++i) others[i] += figure.plusTimes * plus[i];
  return others;
}

Outcome judge(const Figure& figure, const Field& field) {
  const std::vector<double>& ours = field.of(figure.group, figure.ours);
  std::vector<double> ratios(ours);
  Outcome outcome;
  outcome.figure = figure;
  outcome.ours = medianOf(ours);
  if (!figure.other.empty()) {
    const std::vector<double> other = othersOf(figure, field);
    outcome.other = medianOf(other);
    for (std::size_t i = 0; i < ratios.size(); ++i) {
      ratios[i] = figure.better == Better::LOWER ? ours[i] / other[i] : other[i] / ours[i];
    }
  }
  outcome.median = medianOf(ratios);
  outcome.least = *std::min_element(ratios.begin(), ratios.end());
  outcome.most = *std::max_element(ratios.begin(), ratios.end());
  return outcome;
}

}  // namespace

bool Outcome::reached() const {
  if (!figure.bar) return true;
  return figure.better == Better::LOWER ? median <= *figure.bar : median >= *figure.bar;
}

std::vector<Outcome> runRounds(const std::vector<Figure>& figures, const Contenders& contenders,
                               const Settings& settings) {
  Field field(figures, contenders);
  for (std::size_t round = 1; round <= settings.rounds; ++round) {
    std::fprintf(stderr, "round %zu of %zu\n", round, settings.rounds);
    field.round(settings);
  }
  std::vector<Outcome> outcomes;
  outcomes.reserve(figures.size());
  for (const Figure& figure : figures) outcomes.push_back(judge(figure, field));
  return outcomes;
}

}  // namespace orvix::bench
