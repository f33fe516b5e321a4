#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "jorvshare/site/site_layout.h"

namespace jorvshare::damage {

/// Numbers of the extents of a file whose data lies in its storage unit and is at least
/// `minimumLength` bytes long; none when the extent file does not load, and none when the storage
/// unit is not there or does not hold all data of all local extents.
std::vector<std::size_t> LocalExtents(const ShareLayout& share, const std::string& relative,
                                      std::uint64_t minimumLength);

}  // namespace jorvshare::damage
