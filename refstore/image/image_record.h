#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "refstore/base/envelope.h"

namespace refstore {

/// Containers that an image lists at most.
inline constexpr std::uint64_t kMaxImageContainers = std::uint64_t{1} << 20;

/// The envelope that a container image is kept in: its containers, and 64 KiB for the rest.
inline constexpr EnvelopeKind kImageKind{"JORVIMAG", 1, "container image",
                                         65536 + kMaxImageContainers * sizeof(std::uint64_t)};

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

/// The bytes of an image file. Defined in the library of writers. More containers or longer texts
/// than fit throw std::length_error.
std::vector<std::byte> EncodeImage(const ImageRecord& record);

}  // namespace refstore
