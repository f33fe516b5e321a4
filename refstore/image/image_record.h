#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace refstore {

/// A container image: which containers a virtual copy of a share is served from.
struct ImageRecord {
    std::string policy;
    std::string backupTime;
    std::string name;
    std::vector<std::uint64_t> containers;  ///< DCIDs

    friend bool operator==(const ImageRecord&, const ImageRecord&) = default;
};

/// Reads the image at `path`; every failure is a SysException.
ImageRecord LoadImageRecord(const std::string& path);

}  // namespace refstore
