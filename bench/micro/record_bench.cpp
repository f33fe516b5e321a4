#include <benchmark/benchmark.h>
#include <sys/stat.h>

#include "bench/micro/scratch.h"
#include "refstore/base/file_writer.h"
#include "refstore/extent/extent_record.h"
#include "refstore/header/header_record.h"
#include "refstore/table/mapping_table.h"
#include "storage/extent_file.h"
#include "storage/header_file.h"

namespace {

using namespace Corvane::Kst::Marlow::Jorv;

void HeaderLoad(benchmark::State& state) {
    const bench::Scratch directory;
    const std::string path = directory / "f";
    refstore::WriteNewFile(
        path, refstore::EncodeHeader({.size = 4096, .extentLocation = "/srv/jorv/meta"}));
    for (auto _ : state) {
        struct stat attributes = {};
        HeaderFile header(&attributes);
        header.Load(path);
        benchmark::DoNotOptimize(header.transId);
    }
}
BENCHMARK(HeaderLoad);

void ExtentFileLoad(benchmark::State& state) {
    const bench::Scratch directory;
    const std::string path = directory / "f";
    refstore::WriteNewFile(
        path,
        refstore::EncodeExtents(1, bench::MakeExtents(static_cast<std::size_t>(state.range(0)))));
    for (auto _ : state) {
        refstore::MappingTable table;
        ExtentFile file(&table);
        file.Load(path);
        benchmark::DoNotOptimize(file.transId);
    }
}
BENCHMARK(ExtentFileLoad)->Arg(1)->Arg(10)->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond);

}  // namespace
