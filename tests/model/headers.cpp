#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "refstore/extent/extent_record.h"
#include "refstore/header/header_record.h"
#include "storage/exception.h"
#include "tests/model/run.h"
#include "tests/support/temp_dir.h"

// The metadata check of headers, extents, DCID lists and bloom filters.

namespace model {

namespace {

using Corvane::Kst::Marlow::Jorv::SysException;

bool IsDirectory(const std::string& path) {
    return S_ISDIR(TypeOf(path));
}

/// Whether the table's list names the containers of all its extents. Fingerprints that its filter
/// does not match are reported on the way, those of reserved DCIDs never.
bool CheckTable(Run& run, const refstore::StoredTableView& table) {
    const refstore::BloomBits bloom = table.Bloom();
    for (const refstore::Extent& extent : table.extents) {
        // A list that is not empty counts as one that names 0 as well.
        const bool isListed = std::ranges::any_of(table.dcids, [&](const auto& entry) {
            return extent.dcid == 0 || entry.first == extent.dcid;
        });
        if (!isListed) {
            run.Say(lines::kUnlistedDcid, {std::to_string(extent.dcid)});
            return false;
        }
        if (extent.dcid >= kFirstContainer && !refstore::BloomContains(bloom, extent.fp)) {
            run.Say(lines::kUnmatchedFingerprint,
                    {test_support::Hex(std::as_bytes(std::span(extent.fp.bytes)))});
        }
    }
    return true;
}

bool CheckLists(Run& run, const std::string& directory) {
    bool isSound = true;
    const auto tables = refstore::TableDirectory::Load(refstore::TableDirectory::FileIn(directory));
    ForEachTable(*tables, run.Settings(), [&](const refstore::StoredTableView& table) {
        isSound = CheckTable(run, table);
        return isSound;
    });
    return isSound;
}

/// Transaction id of the extents, or 0 for tables, which have none; none when they do not load.
std::optional<std::int64_t> LoadExtents(Run& run, const std::string& path) {
    try {
        if (run.Settings().useFileExtMap == 0) {
            return refstore::LoadExtentRecord(path).transId;
        }
        if (IsDirectory(path)) {
            refstore::TableDirectory::Load(refstore::TableDirectory::FileIn(path));
        }
        return 0;
    } catch (const SysException&) {
        run.Say(lines::kExtentLoadFailed);
        return std::nullopt;
    }
}

/// False at a finding that ends the walk.
bool CheckPair(Run& run, const std::string& header, const std::string& extents) {
    std::int64_t transId = 0;
    try {
        transId = refstore::LoadHeaderRecord(header).transId;
    } catch (const SysException&) {
        run.Say(lines::kHeaderLoadFailed);
        run.Say(lines::kCorruptHeader, {header});
        return false;
    }
    const auto extentTransId = LoadExtents(run, extents);
    if (!extentTransId) {
        run.Say(lines::kCorruptExtent, {extents});
        return false;
    }
    if (run.Settings().useFileExtMap == 0) {
        if (transId != *extentTransId) {
            run.Say(lines::kTransIdMismatch);
        }
        return transId == *extentTransId;
    }
    if (run.Settings().dcidBloomEnabled && IsDirectory(extents) && !CheckLists(run, extents)) {
        run.Say(lines::kCorruptDcidList, {extents});
        return false;
    }
    return true;
}

}  // namespace

void CheckHeaders(Run& run, const std::string& sharePath) {
    // Without a path there is nothing to walk, and the next check has its turn.
    if (sharePath.empty()) {
        return;
    }
    for (const auto& entry : std::filesystem::recursive_directory_iterator(sharePath)) {
        const std::string& path = entry.path().native();
        const bool isDirectory = IsDirectory(path);
        const std::size_t head = entry.path().parent_path().native().rfind("/head");
        if (isDirectory || head == std::string::npos) {
            continue;
        }
        const std::string extents = path.substr(0, head) + "/map" + path.substr(head + 5);
        if (!CheckPair(run, path, extents)) {
            return;
        }
    }
}

}  // namespace model
