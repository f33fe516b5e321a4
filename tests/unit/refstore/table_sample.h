#pragma once

#include <cstdint>
#include <string>

#include "refstore/table/table_record.h"

namespace table_test {

/// A fingerprint whose bytes count up from `first`.
crfp_digest_t Fingerprint(std::uint8_t first);

/// A fingerprint of its own for each number.
crfp_digest_t NumberedFingerprint(std::uint64_t number);

/// The example of docs/formats: one table of two extents, two DCIDs and a filter of one.
refstore::TableDirectoryRecord Example();

/// A table of `count` extents of 4096 bytes from `offset` on, its DCIDs and its filter.
refstore::TableRecord MakeTable(std::uint64_t offset, std::uint64_t end, std::uint64_t count);

/// Writes the record as the data.mdb of `directory`, over an older one.
void Store(const std::string& directory, const refstore::TableDirectoryRecord& record);

}  // namespace table_test
