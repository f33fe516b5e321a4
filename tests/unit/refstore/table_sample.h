#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "refstore/table/table_environment.h"
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

/// Writes the record into a directory of its own and returns the bytes of data.mdb.
std::string Encode(const refstore::TableDirectoryRecord& record);

/// The bytes of an environment of the given records and its trailer.
std::string EncodeRecords(const std::vector<std::pair<std::string, std::string>>& records);

/// The file with a trailer that fits its other bytes.
std::string Reseal(std::string file);

/// Loads the bytes of a data.mdb as those of /x/data.mdb.
refstore::TableEnvironment Load(const std::string& bytes);

/// The extents that the walk gives.
std::vector<refstore::Extent> ExtentsOf(const refstore::TableEnvironment& environment,
                                        std::size_t table);

/// What Load throws as SysException(74), without the path in front; empty when it throws nothing.
std::string DamageOf(const std::string& bytes);
std::string DamageOf(const std::function<refstore::TableEnvironment()>& load);

}  // namespace table_test
