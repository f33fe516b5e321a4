#include "refstore/header/header_record.h"
#include "tests/fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::FuzzRecord(refstore::kHeaderKind, std::as_bytes(std::span(data, size)),
                     [](const std::string& path) { refstore::LoadHeaderRecord(path); });
    return 0;
}
