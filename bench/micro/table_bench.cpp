#include <benchmark/benchmark.h>

#include <set>
#include <stdexcept>

#include "bench/micro/scratch.h"
#include "jorvck/fs_check_meta.h"
#include "refstore/base/file_writer.h"
#include "refstore/table/mapping_table.h"
#include "refstore/table/table_record.h"
#include "storage/exception.h"

namespace {

using namespace Corvane::Kst::Marlow;

/// One table directory that stays for a benchmark.
struct Stored {
    explicit Stored(const benchmark::State& state)
        : extents(static_cast<std::size_t>(state.range(0))) {
        refstore::WriteNewFile(directory / "data.mdb",
                               refstore::EncodeTables(bench::MakeTables(extents)));
    }

    void OpenInto(refstore::MappingTable& table) const {
        if (table.Open(directory.Path(), false, "") != 0) {
            throw std::runtime_error("a table that was just written cannot be opened");
        }
    }

    bench::Scratch directory;
    std::size_t extents;
};

void CountExtents(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void TableOpen(benchmark::State& state) {
    const Stored stored(state);
    for (auto _ : state) {
        refstore::MappingTable table;
        stored.OpenInto(table);
    }
    CountExtents(state);
}
BENCHMARK(TableOpen)->Arg(10)->Arg(1000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMicrosecond);

/// The walk of the file data check, each DCID looked up in the set of known containers.
void TableWalkKnownSet(benchmark::State& state) {
    const Stored stored(state);
    refstore::MappingTable table;
    stored.OpenInto(table);
    std::set<std::uint64_t> dcids;
    for (std::uint64_t i = 0; i < bench::kContainers; ++i) {
        dcids.insert(bench::kFirstContainer + i);
    }
    std::size_t found = 0;
    for (auto _ : state) {
        for (auto at = table.begin(); !at.Equals(table.end()); at.Next()) {
            found += dcids.count(at->GetDCID().dcid);
        }
    }
    benchmark::DoNotOptimize(found);
    CountExtents(state);
}
BENCHMARK(TableWalkKnownSet)->Arg(1000)->Arg(100000);

void TableWalk(benchmark::State& state) {
    const Stored stored(state);
    refstore::MappingTable table;
    stored.OpenInto(table);
    std::uint64_t sum = 0;
    for (auto _ : state) {
        for (auto at = table.begin(); !at.Equals(table.end()); at.Next()) {
            sum += at->GetDCID().dcid;
        }
    }
    benchmark::DoNotOptimize(sum);
    CountExtents(state);
}
BENCHMARK(TableWalk)->Arg(1000)->Arg(100000)->Arg(1000000);

/// The metadata check of one table: each DCID looked for in the list, linearly, and each
/// fingerprint in the bloom filter.
void DcidListAndBloom(benchmark::State& state) {
    const Stored stored(state);
    refstore::MappingTable table;
    stored.OpenInto(table);
    for (auto _ : state) {
        if (JorvCk::FsCheckMeta::CheckDCIDAndBloom(stored.directory.Path(), &table) != 0) {
            state.SkipWithError("a finding");
        }
    }
    CountExtents(state);
}
BENCHMARK(DcidListAndBloom)->Arg(10)->Arg(1000)->Arg(100000);

void BloomFilterMatches(benchmark::State& state) {
    const auto extents = bench::MakeExtents(1000);
    const Stored stored(state);
    refstore::MappingTable table;
    stored.OpenInto(table);
    std::vector<Jorv::DcidEntry> dcids;
    std::unique_ptr<BloomFilter> filter;
    table.GetDcidList(&dcids, &filter);
    std::size_t matched = 0;
    for (auto _ : state) {
        for (const refstore::Extent& extent : extents) {
            matched += static_cast<std::size_t>(filter->Matches(extent.fp));
        }
    }
    benchmark::DoNotOptimize(matched);
    state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(BloomFilterMatches)->Arg(1000);

}  // namespace
