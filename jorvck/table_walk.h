#pragma once

#include <cstdint>

#include "storage/file_ext_map_mgr.h"

namespace Corvane::Kst::Marlow::JorvCk {

/// Containers have DCIDs from here on; those below are reserved.
inline constexpr std::uint64_t kFirstContainerDcid = 64;

/// The extent's data lies in the file's own storage-unit file.
inline constexpr std::uint64_t kLocalDcid = 1;

/// Calls `check` for each mapping table of a file, from offset 0 on. Stops when no table covers the
/// offset (result 0) or when `check` returns nonzero (that result). Not bounded by the file's size.
///
/// @param span  gives the number of bytes from one table to the next. Called after each table,
/// before `check`. Pass ReadTableSpanBytes to read the setting (and take the lock) per table,
/// FixedSpan to read it once.
/// @param check an int from a CMappingTable*, which stays the manager's.
template <typename Span, typename Check>
int WalkTables(Jorv::FileExtMapMgr* manager, Span span, Check check) {
    std::uint64_t offset = 0;
    for (;;) {
        Jorv::ExtMapEntry entry = {};
        if (manager->GetTableForRead(static_cast<long>(offset), &entry) != 0) {
            return 0;
        }
        offset += span();
        const int result = check(entry.table);
        if (result != 0) {
            return result;
        }
    }
}

/// For WalkTables: the same span for every table.
inline auto FixedSpan(std::uint64_t bytes) {
    return [bytes] { return bytes; };
}

}  // namespace Corvane::Kst::Marlow::JorvCk
