#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "jorvshare/make/json_node.h"
#include "refstore/extent/extent.h"
#include "refstore/table/table_record.h"
#include "storage/fingerprint.h"

namespace jorvshare {

/// What the defaults of a file's extents are made of.
struct ExtentContext {
    std::string path;                        ///< of the user file
    std::span<const std::byte> storageUnit;  ///< empty when the file has none
    std::uint64_t tableSpan = 0;             ///< bytes
};

/// A fingerprint of 64 hexadecimal digits.
crfp_digest_t ReadFingerprint(const JsonNode& node);

/// A list of extents: "start" 0, "end" the start, "dcid" 1, "so_ref" 0, "cksum" that of the bytes
/// that the storage unit holds there, "data_offset" the start, "fp" the SHA-256 of
/// "<path>:<start>".
std::vector<refstore::Extent> ReadExtents(const JsonNode& list, const ExtentContext& context);

/// A list of mapping tables in ascending order of their offsets, whatever order the recipe has:
/// "offset" 0, "end" the offset plus the span, "dcids" those of the extents with second value 0,
/// "bloom" the fingerprints of the extents.
std::vector<refstore::TableRecord> ReadTables(const JsonNode& list, const ExtentContext& context);

}  // namespace jorvshare
