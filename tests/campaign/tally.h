#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>

#include "tests/campaign/child.h"
#include "tests/campaign/mutation.h"
#include "tests/campaign/oracle.h"
#include "tests/campaign/scene.h"

namespace campaign {

/// Counts what came of the trials and prints it.
class Tally {
  public:
    void Count(const Scene& scene, const Victim& victim, const Mutation& mutation, Outcome outcome,
               Layer layer);
    void CountControl(Taken taken) { ++control_.at(static_cast<std::size_t>(taken)); }
    void CountTaken() { ++taken_; }
    void CountExecuted() { ++executed_; }

    [[nodiscard]] std::uint64_t Unexplained() const;
    [[nodiscard]] std::uint64_t Trials() const;
    /// Whether plain LMDB was killed now and then, as it must be where the mutations are worth
    /// their name; true as well when it was not tried often enough to tell.
    [[nodiscard]] bool ControlBites() const;

    void Print() const;

  private:
    using Outcomes = std::array<std::uint64_t, kOutcomes>;

    std::map<std::tuple<std::string, std::string, bool>, Outcomes> byFile_;
    std::map<std::tuple<Change, bool>, Outcomes> byChange_;
    std::map<std::tuple<std::string, bool>, std::array<std::uint64_t, kLayers>> byLayer_;
    std::array<std::uint64_t, kTakens> control_ = {};
    std::uint64_t taken_ = 0;
    std::uint64_t executed_ = 0;
};

}  // namespace campaign
