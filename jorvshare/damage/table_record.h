#pragma once

#include <optional>
#include <string>

#include "jorvshare/damage/scene.h"
#include "refstore/table/table_record.h"

namespace jorvshare::damage {

/// The mapping tables of a file as they could be written again; none when they do not load. A
/// bloom filter is of the fingerprints of its table's extents, as packing makes it: those that an
/// existing one was made of cannot be got back.
std::optional<refstore::TableDirectoryRecord> LoadTables(const Scene& scene,
                                                         const std::string& relative);

/// A fingerprint in lower-case hexadecimal digits.
std::string DigitsOf(const crfp_digest_t& fp);

}  // namespace jorvshare::damage
