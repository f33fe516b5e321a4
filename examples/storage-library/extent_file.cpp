#include "storage/extent_file.h"

#include <cerrno>

#include "table.h"

namespace Corvane::Kst::Marlow::Jorv {

ExtentFile::ExtentFile(CMappingTable* table) : table_(table) {}

ExtentFile::~ExtentFile() = default;

void ExtentFile::Load(const std::string& path) {
    auto* const table = dynamic_cast<text_storage::TextTable*>(table_);
    if (table == nullptr) {
        text_storage::Fail(EINVAL, path, "no table to load into");
    }
    text_storage::TextFile file(path);
    const auto id = file.Next<std::int64_t>();
    table->ReadExtents(&file);
    transId = id;
}

}  // namespace Corvane::Kst::Marlow::Jorv
