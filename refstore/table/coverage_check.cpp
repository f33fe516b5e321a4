#include "refstore/table/coverage_check.h"

#include "refstore/base/errors.h"
#include "refstore/config/settings.h"

namespace refstore {

void RequireSteppable(const TableEnvironment& environment, const std::string& directory) {
    const std::uint64_t span = std::uint64_t{GetSettings().tableSpanGiB} << 30U;
    for (const TableInfo& table : environment.Tables()) {
        if (table.end > table.offset && (table.end - table.offset) / span > kMaxSpansCovered) {
            ThrowDamage(kMappingTableName, directory, "table covers too many spans");
        }
    }
}

}  // namespace refstore
