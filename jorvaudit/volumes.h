#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "jorvaudit/report.h"
#include "jorvaudit/storage_look.h"

namespace jorvaudit {

/// The containers that the volumes have, by their names alone.
struct VolumeSearch {
    std::vector<Volume> volumes;
    std::vector<std::uint64_t> containers;  ///< with data and index, ascending
    std::vector<Finding> findings;
};

/// Searches all volumes for what both the checker and the storage library take for a container: a
/// regular file "<number>.bin" with another, "<number>.bhd", beside it, the number in decimal
/// digits without a zero in front. Where the checker ends its search of a volume, this one goes on
/// and says so. Run in a child process: a volume may hang.
VolumeSearch SearchVolumes(const std::vector<VolumeEntry>& entries);

/// Bytes for another process, and back.
std::string Encode(const VolumeSearch& search);
VolumeSearch DecodeSearch(const std::string& bytes);

}  // namespace jorvaudit
