#include "tests/campaign/mutation.h"

#include <algorithm>
#include <array>
#include <random>

#include "tests/campaign/object.h"
#include "tests/campaign/seal.h"
#include "tests/support/field_mutator.h"

namespace campaign {

namespace {

constexpr std::array<unsigned char, kByteValues> kMasks = {0x01, 0x80, 0xff};
constexpr std::array<std::size_t, kAddedLengths / 2> kAdded = {1, 8, 24, 32, 4064, 4096, 8192};

void ChangeFields(std::string& bytes, std::uint64_t seed) {
    test_support::FieldMutator<std::mt19937_64> mutator(seed, kPiece);
    for (std::size_t changes = 1 + mutator.Below(3); changes > 0 && bytes.size() >= 8; --changes) {
        const std::size_t at = mutator.Place(bytes);
        switch (mutator.Below(4)) {
            case 0:
                mutator.Change<std::uint8_t>(bytes, at);
                break;
            case 1:
                mutator.Change<std::uint32_t>(bytes, at);
                break;
            case 2:
                mutator.Change<std::uint64_t>(bytes, at);
                break;
            default:
                mutator.Change<std::uint16_t>(bytes, at);
        }
    }
}

std::string Added(std::uint64_t which, const std::string& bytes) {
    const std::size_t more = kAdded.at(which / 2);
    return which % 2 == 0 ? std::string(more, '\0') : bytes.substr(0, more);
}

void SwapPieces(std::string& bytes, std::size_t first, std::size_t second) {
    const std::string one = bytes.substr(first * kPiece, kPiece);
    const std::string two = bytes.substr(second * kPiece, kPiece);
    // The shorter last one moves as far as it goes.
    const std::size_t common = std::min(one.size(), two.size());
    bytes.replace(first * kPiece, common, two, 0, common);
    bytes.replace(second * kPiece, common, one, 0, common);
}

}  // namespace

std::string_view NameOf(Change change) {
    switch (change) {
        case Change::kByte:
            return "byte changed";
        case Change::kCut:
            return "cut short";
        case Change::kAdd:
            return "bytes added";
        case Change::kZeroPiece:
            return "piece zeroed";
        case Change::kSwapPieces:
            return "pieces swapped";
        case Change::kForeignPiece:
            return "piece of another file";
        case Change::kFields:
            return "fields changed";
        case Change::kObject:
            return "replaced";
    }
    return "?";
}

std::string Apply(const Mutation& mutation, FileKind kind, std::string bytes,
                  const std::string& other) {
    switch (mutation.change) {
        case Change::kByte: {
            char& byte = bytes[mutation.first];
            byte = static_cast<char>(static_cast<unsigned char>(byte) ^ kMasks.at(mutation.second));
            break;
        }
        case Change::kCut:
            bytes.resize(mutation.first);
            break;
        case Change::kAdd:
            bytes += Added(mutation.first, bytes);
            break;
        case Change::kZeroPiece: {
            const std::size_t count = std::min(kPiece, bytes.size() - mutation.first * kPiece);
            bytes.replace(mutation.first * kPiece, count, count, '\0');
            break;
        }
        case Change::kSwapPieces:
            SwapPieces(bytes, mutation.first, mutation.second);
            break;
        case Change::kForeignPiece: {
            const std::string foreign =
                other.substr(std::min(mutation.second * kPiece, other.size()), kPiece);
            bytes.replace(mutation.first * kPiece,
                          std::min(foreign.size(), bytes.size() - mutation.first * kPiece),
                          foreign);
            break;
        }
        case Change::kFields:
            ChangeFields(bytes, mutation.first);
            break;
        case Change::kObject:
            break;
    }
    if (mutation.sealed) {
        Seal(kind, bytes);
    }
    return bytes;
}

std::string Describe(const Mutation& mutation) {
    std::string text(NameOf(mutation.change));
    text += mutation.change == Change::kObject
                ? ": " + std::string(NameOf(static_cast<Object>(mutation.first)))
                : " " + std::to_string(mutation.first) + ", " + std::to_string(mutation.second);
    return text + (mutation.sealed ? ", sealed again" : "");
}

}  // namespace campaign
