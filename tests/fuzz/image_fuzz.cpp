#include "refstore/image/image_record.h"
#include "tests/fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::FuzzRecord(refstore::kImageKind, std::as_bytes(std::span(data, size)),
                     [](const std::string& path) { refstore::LoadImageRecord(path); });
    return 0;
}
