#include "storage/extent_file.h"
#include "tests/fake/fake_table.h"
#include "tests/fake/missing.h"
#include "tests/fake/script.h"

namespace Corvane::Kst::Marlow::Jorv {

using storage_fake::FakeTable;
using storage_fake::Script;

ExtentFile::ExtentFile(CMappingTable* table) : table_(table) {
    Script::Current().Enter("ExtentFile::ExtentFile");
    Script::Current().Born("ExtentFile");
}

ExtentFile::~ExtentFile() {
    Script::Current().Note("ExtentFile::~ExtentFile");
    Script::Current().Died("ExtentFile");
    // The table outlives the extent file; a freed one is found by the address sanitizer here.
    if (auto* const table = dynamic_cast<FakeTable*>(table_)) {
        table->CursorMade(0);
    }
}

void ExtentFile::Load(const std::string& path) {
    Script::Current().Enter("ExtentFile::Load " + path);
    auto* const table = dynamic_cast<FakeTable*>(table_);
    if (table == nullptr) {
        throw SysException(22, "stack trace:\n", path + ": no table to load into (errno 22)");
    }
    const test_support::StoredExtentFile& stored =
        storage_fake::Find(Script::Current().extentFiles, path);
    test_support::StoredTable whole;
    whole.extents = stored.extents;
    table->Fill(path, std::move(whole));
    transId = stored.transId;
}

}  // namespace Corvane::Kst::Marlow::Jorv
