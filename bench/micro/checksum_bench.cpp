#include <benchmark/benchmark.h>

#include <vector>

#include "jorvck/sample_cksum.h"

namespace {

void SampledChecksum(benchmark::State& state) {
    const std::vector<unsigned char> data(static_cast<std::size_t>(state.range(0)), 0x5a);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Corvane::Kst::Marlow::JorvCk::ComputeSampleCksum(data));
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(SampledChecksum)->Arg(4096)->Arg(131072);

}  // namespace
