#include "storage/vol_mgr.h"
#include "tests/fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using Corvane::Kst::Marlow::Jorv::VolMgr;
    static const fuzz::MemoryFile file;
    std::vector<VolMgr::MntEnt> entries;
    const std::int32_t code =
        VolMgr::LoadGlobalFstab(file.Put(std::as_bytes(std::span(data, size))), &entries);
    if (code != 0 && (code != EBADMSG || !entries.empty())) {
        std::abort();
    }
    return 0;
}
