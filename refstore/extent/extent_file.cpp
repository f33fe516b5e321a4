#include "storage/extent_file.h"

#include <cerrno>
#include <utility>

#include "refstore/base/errors.h"
#include "refstore/extent/extent_record.h"
#include "refstore/table/mapping_table.h"

namespace Corvane::Kst::Marlow::Jorv {

ExtentFile::ExtentFile(CMappingTable* table) : table_(table) {}

// Out of line, and not defaulted: callers are built against the declaration alone, and another
// library may have work to do here.
ExtentFile::~ExtentFile() {}

void ExtentFile::Load(const std::string& path) {
    // Null, too, for a table that another library made: its entries are not ours to replace.
    auto* const table = dynamic_cast<refstore::MappingTable*>(table_);
    if (table == nullptr) {
        refstore::ThrowError(EINVAL, "extent file", path, "no mapping table to load into");
    }
    refstore::ExtentRecord record = refstore::LoadExtentRecord(path);
    // Nothing below throws, so a failed load has changed neither the table nor transId.
    transId = record.transId;
    table->Hold(std::move(record));
}

}  // namespace Corvane::Kst::Marlow::Jorv
