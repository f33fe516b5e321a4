#include "tests/campaign/tally.h"

#include <algorithm>
#include <cstdio>
#include <numeric>

namespace campaign {

namespace {

template <typename Counts>
std::uint64_t Sum(const Counts& counts) {
    return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
}

template <typename Counts>
void PrintRow(const std::string& name, const Counts& counts) {
    std::printf("%-44s %9llu", name.c_str(), static_cast<unsigned long long>(Sum(counts)));
    for (const std::uint64_t count : counts) {
        std::printf(" %9llu", static_cast<unsigned long long>(count));
    }
    std::printf("\n");
}

std::string Seal(bool sealed) {
    return sealed ? ", sealed again" : "";
}

constexpr const char* kOutcomeHeads = "other  unchanged     ended  UNEXPLAINED";

}  // namespace

void Tally::Count(const Scene& scene, const Victim& victim, const Mutation& mutation,
                  const Judgement& judgement, bool executed) {
    executed_ += executed ? 1U : 0U;
    const std::string file(NameOf(victim.kind));
    const auto at = static_cast<std::size_t>(judgement.outcome);
    ++byFile_[{scene.name, file, mutation.sealed}].at(at);
    ++byChange_[{mutation.change, mutation.sealed}].at(at);
    if (judgement.layer != Layer::kNone) {
        ++byLayer_[{file, mutation.sealed}].at(static_cast<std::size_t>(judgement.layer));
    }
}

std::uint64_t Tally::Unexplained() const {
    std::uint64_t count = 0;
    for (const auto& [change, outcomes] : byChange_) {
        count += outcomes.at(static_cast<std::size_t>(Outcome::kUnexplained));
    }
    return count;
}

std::uint64_t Tally::Trials() const {
    std::uint64_t count = 0;
    for (const auto& [change, outcomes] : byChange_) {
        count += Sum(outcomes);
    }
    return count;
}

void Tally::Print() const {
    std::printf("\n%-44s %9s     %s\n", "By file", "trials", kOutcomeHeads);
    for (const auto& [key, outcomes] : byFile_) {
        const auto& [scene, file, sealed] = key;
        std::string head = scene;
        head.append(": ").append(file).append(Seal(sealed));
        PrintRow(head, outcomes);
    }
    std::printf("\n%-44s %9s     %s\n", "By change", "trials", kOutcomeHeads);
    for (const auto& [key, outcomes] : byChange_) {
        const auto& [change, sealed] = key;
        PrintRow(std::string(NameOf(change)) + Seal(sealed), outcomes);
    }
    std::printf("\n%-44s %9s     frame      seal structure    values\n",
                "By the layer that had the last word", "trials");
    for (const auto& [key, layers] : byLayer_) {
        const auto& [file, sealed] = key;
        std::array<std::uint64_t, 4> shown = {};
        std::copy_n(layers.begin(), shown.size(), shown.begin());
        PrintRow(file + Seal(sealed), shown);
    }
    std::printf("%llu trials, %llu of them with the program itself, %llu unexplained\n",
                static_cast<unsigned long long>(Trials()),
                static_cast<unsigned long long>(executed_),
                static_cast<unsigned long long>(Unexplained()));
}

}  // namespace campaign
