#include "refstore/table/table_directory.h"
#include "tests/fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::FuzzRecord(
        refstore::kTablesKind, std::as_bytes(std::span(data, size)), [](const std::string& path) {
            // All parts are read in place: every byte of them must be there.
            const auto loaded = refstore::TableDirectory::Load(path);
            for (const refstore::StoredTableView& table : loaded->Tables()) {
                for (const refstore::Extent& extent : table.extents) {
                    static_cast<void>(loaded->Find(extent.start + extent.fp.bytes[31]));
                }
                const std::vector<Corvane::Kst::Marlow::Jorv::DcidEntry> dcids(table.dcids.begin(),
                                                                               table.dcids.end());
                BloomContains(table.Bloom(), {});
            }
        });
    return 0;
}
