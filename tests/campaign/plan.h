#pragma once

#include <cstdint>
#include <vector>

#include "tests/campaign/mutation.h"
#include "tests/campaign/scene.h"

namespace campaign {

struct Trial {
    std::uint16_t scene = 0;
    std::uint16_t victim = 0;
    Mutation mutation;
};

/// Every trial of the campaign, in an order that only the scenes decide: a trial's place in it is
/// its number. `seed` and the number of random changes per file decide the random ones, which come
/// after all others.
std::vector<Trial> MakePlan(const std::vector<Scene>& scenes, std::uint64_t seed,
                            std::uint64_t randomPerFile);

/// The trials' numbers in a random order that `seed` decides, but those of which there are few
/// first: a part of the campaign tries each kind of change.
std::vector<std::uint32_t> OrderOf(const std::vector<Trial>& plan, std::uint64_t seed);

}  // namespace campaign
