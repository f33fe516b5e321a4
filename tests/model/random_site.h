#pragma once

#include <cstdint>
#include <string>

#include "tests/model/model.h"

namespace model {

/// Builds a site at `site`, which is not there, drawn by the seed: both layouts, sound
/// and inconsistent files, images and volumes, and other things in the place of some. The same seed
/// gives the same site.
void MakeRandomSite(const std::string& site, std::uint64_t seed);

/// As MakeRandomSite, with nothing in it that is not sound.
void MakeSoundSite(const std::string& site, std::uint64_t seed);

/// The id of its share, that of either.
std::string RandomShareId(std::uint64_t seed);

}  // namespace model
