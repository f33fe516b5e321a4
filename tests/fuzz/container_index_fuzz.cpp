#include "refstore/container/container_record.h"
#include "tests/fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::FuzzRecord(refstore::kContainerIndexKind, std::as_bytes(std::span(data, size)),
                     [](const std::string& path) { refstore::LoadContainerIndex(path); });
    return 0;
}
