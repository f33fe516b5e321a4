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

constexpr const char* kOutcomeHeads = "found  unchanged     ended  UNEXPLAINED";

}  // namespace

void Tally::Count(const Scene& scene, const Victim& victim, const Mutation& mutation,
                  Outcome outcome, Layer layer) {
    const std::string file(NameOf(victim.kind));
    const auto at = static_cast<std::size_t>(outcome);
    ++byFile_[{scene.name, file, mutation.sealed}].at(at);
    ++byChange_[{mutation.change, mutation.sealed}].at(at);
    if (IsSealed(victim.kind) && mutation.change != Change::kObject && layer != Layer::kNone) {
        ++byLayer_[{file, mutation.sealed}].at(static_cast<std::size_t>(layer));
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

bool Tally::ControlBites() const {
    constexpr std::uint64_t kEnoughToTell = 500;
    return Sum(control_) < kEnoughToTell ||
           control_.at(static_cast<std::size_t>(Taken::kKilled)) > 0;
}

void Tally::Print() const {
    std::printf("\n%-44s %9s     %s\n", "By file", "trials", kOutcomeHeads);
    for (const auto& [key, outcomes] : byFile_) {
        const auto& [scene, file, sealed] = key;
        PrintRow(scene + ": " + file + Seal(sealed), outcomes);
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
    const auto control = [this](Taken taken) {
        return control_.at(static_cast<std::size_t>(taken));
    };
    const std::uint64_t tried = Sum(control_);
    std::printf(
        "\nControl: plain LMDB on %llu of the same structural changes: read %llu, refused "
        "%llu, killed %llu (%.1f %%), hung %llu\n",
        static_cast<unsigned long long>(tried),
        static_cast<unsigned long long>(control(Taken::kRead)),
        static_cast<unsigned long long>(control(Taken::kRefused)),
        static_cast<unsigned long long>(control(Taken::kKilled)),
        tried == 0
            ? 0.0
            : 100.0 * static_cast<double>(control(Taken::kKilled)) / static_cast<double>(tried),
        static_cast<unsigned long long>(control(Taken::kHung)));
    std::printf("%llu sealed data.mdb that the checker took were shown to LMDB as well\n",
                static_cast<unsigned long long>(taken_));
    std::printf("%llu trials, %llu of them with the program itself, %llu unexplained\n",
                static_cast<unsigned long long>(Trials()),
                static_cast<unsigned long long>(executed_),
                static_cast<unsigned long long>(Unexplained()));
}

}  // namespace campaign
