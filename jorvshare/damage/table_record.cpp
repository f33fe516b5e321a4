#include "jorvshare/damage/table_record.h"

#include <array>

#include "refstore/table/table_directory.h"
#include "storage/exception.h"
#include "terminal/tool_error.h"

namespace jorvshare::damage {

std::optional<refstore::TableDirectoryRecord> LoadTables(const Scene& scene,
                                                         const std::string& relative) {
    try {
        const auto tables = refstore::TableDirectory::Load(
            refstore::TableDirectory::FileIn(scene.Share().Map(relative)));
        refstore::TableDirectoryRecord record{.fileSize = tables->FileSize(), .tables = {}};
        for (const refstore::StoredTableView& stored : tables->Tables()) {
            refstore::TableRecord table{.offset = stored.offset,
                                        .end = stored.end,
                                        .extents = {stored.extents.begin(), stored.extents.end()},
                                        .dcids = {stored.dcids.begin(), stored.dcids.end()},
                                        .bloom = {}};
            for (const refstore::Extent& extent : stored.extents) {
                table.bloom.push_back(extent.fp);
            }
            record.tables.push_back(std::move(table));
        }
        return record;
    } catch (const Corvane::Kst::Marlow::Jorv::SysException&) {
        return std::nullopt;
    }
}

std::string DigitsOf(const crfp_digest_t& fp) {
    constexpr int hexadecimal = 3;
    std::array<char, 2 * sizeof(crfp_digest_t) + 1> text{};
    CRFPDigestToString_r(&fp, hexadecimal, text.data(), text.size());
    return text.data();
}

}  // namespace jorvshare::damage
