#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "refstore/base/envelope.h"
#include "storage/fingerprint.h"

namespace refstore {

/// The envelope that the index of a data container is kept in.
inline constexpr EnvelopeKind kContainerIndexKind{"JORVCIDX", 1, "container index"};

/// Longest piece of data that a container takes, in bytes. Far above what packing cuts; it bounds
/// what a reader allocates on an index's word.
inline constexpr std::uint64_t kMaxContainerPiece = std::uint64_t{1} << 28;

/// One piece of data in a container.
struct ContainerEntry {
    crfp_digest_t fp = {};
    std::uint64_t offset = 0;  ///< in the .bin file, bytes
    std::uint64_t length = 0;  ///< bytes

    friend bool operator==(const ContainerEntry&, const ContainerEntry&) = default;
};

/// Index of a data container, the .bhd file: what the .bin file of the same name holds.
struct ContainerIndex {
    std::uint64_t dcid = 0;
    std::uint64_t binSize = 0;  ///< bytes
    std::uint64_t binSeal = 0;  ///< XXH3-64 of the whole .bin file
    std::vector<ContainerEntry> entries;

    friend bool operator==(const ContainerIndex&, const ContainerIndex&) = default;
};

/// Reads the index at `path`; every failure is a SysException.
ContainerIndex LoadContainerIndex(const std::string& path);

}  // namespace refstore
