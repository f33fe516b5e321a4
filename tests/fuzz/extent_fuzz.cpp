#include "refstore/extent/extent_record.h"
#include "tests/fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::FuzzRecord(refstore::kExtentFileKind, std::as_bytes(std::span(data, size)),
                     [](const std::string& path) {
                         const refstore::ExtentRecord record = refstore::LoadExtentRecord(path);
                         // Extents are read in place: every byte of them must be there.
                         std::vector<refstore::Extent> extents(record.extents.begin(),
                                                               record.extents.end());
                     });
    return 0;
}
