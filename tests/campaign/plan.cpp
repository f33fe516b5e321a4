#include "tests/campaign/plan.h"

#include <algorithm>
#include <filesystem>
#include <numeric>
#include <random>
#include <utility>

#include "tests/campaign/object.h"

namespace campaign {

namespace {

// Pieces of a file that are swapped and replaced: all of a small one, of a large one so many that
// are spread over it.
constexpr std::uint64_t kMostPieces = 24;

class Planner {
  public:
    Planner(std::uint16_t scene, std::uint16_t victim, const Victim& file,
            std::vector<Trial>& trials)
        : scene_(scene),
          victim_(victim),
          exhaustive_(file.exhaustive),
          sealed_(IsSealed(file.kind)),
          size_(std::filesystem::file_size(file.path)),
          allPieces_((size_ + kPiece - 1) / kPiece),
          pieces_(std::min(allPieces_, kMostPieces)),
          trials_(trials) {}

    void Systematic() {
        for (std::uint64_t object = 0; object < kObjects; ++object) {
            trials_.push_back({scene_, victim_, {Change::kObject, false, object, 0}});
        }
        for (std::uint64_t which = 0; which < kAddedLengths; ++which) {
            Add(Change::kAdd, which, 0);
        }
        for (std::uint64_t piece = 0; piece < pieces_; ++piece) {
            Add(Change::kZeroPiece, Piece(piece), 0);
            for (std::uint64_t other = 0; other < pieces_; ++other) {
                Add(Change::kForeignPiece, Piece(piece), Piece(other));
                if (other > piece) {
                    Add(Change::kSwapPieces, Piece(piece), Piece(other));
                }
            }
        }
        for (std::uint64_t at = 0; exhaustive_ && at < size_; ++at) {
            Add(Change::kCut, at, 0);
            for (std::uint64_t value = 0; value < kByteValues; ++value) {
                Add(Change::kByte, at, value);
            }
        }
    }

    void Random(std::uint64_t count, std::mt19937_64& seeds) {
        for (std::uint64_t i = 0; i < count; ++i) {
            Add(Change::kFields, seeds(), 0);
        }
        // Of a large file some lengths and bytes, of a small one there are all.
        constexpr std::uint64_t kFieldsPerCut = 20;
        for (std::uint64_t i = 0; !exhaustive_ && i < count / kFieldsPerCut; ++i) {
            Add(Change::kCut, seeds() % size_, 0);
            Add(Change::kByte, seeds() % size_, seeds() % kByteValues);
        }
    }

  private:
    [[nodiscard]] std::uint64_t Piece(std::uint64_t number) const {
        return number * allPieces_ / pieces_;
    }

    void Add(Change change, std::uint64_t first, std::uint64_t second) {
        trials_.push_back({scene_, victim_, {change, false, first, second}});
        if (sealed_) {
            trials_.push_back({scene_, victim_, {change, true, first, second}});
        }
    }

    std::uint16_t scene_;
    std::uint16_t victim_;
    bool exhaustive_;
    bool sealed_;
    std::uint64_t size_;
    std::uint64_t allPieces_;
    std::uint64_t pieces_;
    std::vector<Trial>& trials_;
};

template <typename Do>
void ForEachVictim(const std::vector<Scene>& scenes, std::vector<Trial>& trials, const Do& work) {
    for (std::size_t scene = 0; scene < scenes.size(); ++scene) {
        for (std::size_t victim = 0; victim < scenes[scene].victims.size(); ++victim) {
            Planner planner(static_cast<std::uint16_t>(scene), static_cast<std::uint16_t>(victim),
                            scenes[scene].victims[victim], trials);
            work(planner);
        }
    }
}

}  // namespace

std::vector<Trial> MakePlan(const std::vector<Scene>& scenes, std::uint64_t seed,
                            std::uint64_t randomPerFile) {
    std::vector<Trial> trials;
    ForEachVictim(scenes, trials, [](Planner& planner) { planner.Systematic(); });
    std::mt19937_64 seeds(seed);
    ForEachVictim(scenes, trials, [&seeds, randomPerFile](Planner& planner) {
        planner.Random(randomPerFile, seeds);
    });
    return trials;
}

std::vector<std::uint32_t> OrderOf(const std::vector<Trial>& plan, std::uint64_t seed) {
    std::vector<std::uint32_t> order(plan.size());
    std::iota(order.begin(), order.end(), 0U);
    std::mt19937_64 engine(seed);
    for (std::size_t left = order.size(); left > 1; --left) {
        std::swap(order[left - 1], order[engine() % left]);
    }
    std::stable_partition(order.begin(), order.end(), [&plan](std::uint32_t number) {
        const Change change = plan[number].mutation.change;
        return change == Change::kObject || change == Change::kAdd || change == Change::kZeroPiece;
    });
    return order;
}

}  // namespace campaign
