#include <cstring>

#include "refstore/extent/extent.h"
#include "refstore/table/table_environment.h"
#include "refstore/table/table_trailer.h"
#include "refstore/table/table_trailer_writer.h"
#include "tests/fuzz/fuzz_input.h"

namespace {

// Reads all that a loaded directory can give.
void ReadAll(const refstore::TableEnvironment& environment) {
    for (std::size_t table = 0; table < environment.Tables().size(); ++table) {
        for (auto walk = environment.Extents(table); walk.Left() > 0; walk.Next()) {
            refstore::Extent extent;
            std::memcpy(&extent, walk.Bytes(), sizeof extent);
            static_cast<void>(environment.Find(extent.start));
        }
        if (environment.Dcids(table).size() != environment.Tables()[table].dcids) {
            std::abort();
        }
        const refstore::BloomBits bloom = environment.Bloom(table);
        refstore::BloomContains(bloom.hashes, bloom.words, {});
    }
}

}  // namespace

// The first byte says whether the rest is the whole data.mdb (even) or gets a trailer that fits,
// over its last bytes (odd), and whether its uniform leaves are found while it is read, as in a
// large file (128 and above).
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const bool sealed = (*data & 1U) != 0;
    const bool early = (*data & 0x80U) != 0;
    refstore::FileBytes bytes{.data = std::make_unique<std::byte[]>(size - 1), .size = size - 1};
    std::memcpy(bytes.data.get(), data + 1, size - 1);
    if (sealed && bytes.size >= refstore::kTrailerSize) {
        refstore::SealTableFile({bytes.data.get(), bytes.size});
    }
    refstore::TableFile file = refstore::MakeTableFile(std::move(bytes));
    if (early) {
        file.uniform.emplace(file.bytes.size).Add(file.bytes.Span());
    }
    fuzz::ExpectLoadedOrDamaged(
        [&file] { ReadAll(refstore::TableEnvironment(std::move(file), "data.mdb")); });
    return 0;
}
