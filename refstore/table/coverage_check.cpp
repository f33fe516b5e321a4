#include "refstore/table/coverage_check.h"

#include "refstore/base/errors.h"
#include "refstore/config/settings.h"

namespace refstore {

void RequireSteppable(const TableEnvironment& environment, const std::string& directory) {
    const std::uint64_t span = std::uint64_t{GetSettings().tableSpanGiB} << 30U;
    for (const TableInfo& table : environment.Tables()) {
        // The bound times the span may not fit 64 bits; so the last byte's span is looked at.
        if (table.end > table.offset && (table.end - table.offset - 1) / span >= kMaxSpansCovered) {
            ThrowDamage(kMappingTableName, directory + "/data.mdb", "table covers too many spans");
        }
    }
}

}  // namespace refstore
