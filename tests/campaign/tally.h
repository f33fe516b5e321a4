#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>

#include "tests/campaign/mutation.h"
#include "tests/campaign/oracle.h"
#include "tests/campaign/scene.h"

namespace campaign {

/// Counts what came of the trials and prints it.
class Tally {
  public:
    /// @param executed whether the program itself ran, and not only its code in a child.
    void Count(const Scene& scene, const Victim& victim, const Mutation& mutation,
               const Judgement& judgement, bool executed);

    [[nodiscard]] std::uint64_t Unexplained() const;
    [[nodiscard]] std::uint64_t Trials() const;

    void Print() const;

  private:
    using Outcomes = std::array<std::uint64_t, kOutcomes>;

    std::map<std::tuple<std::string, std::string, bool>, Outcomes> byFile_;
    std::map<std::tuple<Change, bool>, Outcomes> byChange_;
    std::map<std::tuple<std::string, bool>, std::array<std::uint64_t, kLayers>> byLayer_;
    std::uint64_t executed_ = 0;
};

}  // namespace campaign
