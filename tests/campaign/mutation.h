#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tests/campaign/scene.h"

namespace campaign {

enum class Change : std::uint8_t {
    kByte,          ///< one byte gets another value
    kCut,           ///< the file is cut short
    kAdd,           ///< bytes are added
    kZeroPiece,     ///< a piece is zeroed
    kSwapPieces,    ///< two pieces change places
    kForeignPiece,  ///< a piece is taken from another file of the kind
    kFields,        ///< 1 to 3 integers of the structure get telling values
    kObject,        ///< something else is in the file's place
};

std::string_view NameOf(Change change);

/// Values that a byte is changed to, lengths that are added, bytes of a piece.
inline constexpr std::uint64_t kByteValues = 3;
inline constexpr std::uint64_t kAddedLengths = 14;
inline constexpr std::uint64_t kPiece = 64;

/// What is done to one file; the two numbers say which byte, length, piece or random seed.
struct Mutation {
    Change change = Change::kByte;
    bool sealed = false;  ///< the seal is made to fit again
    std::uint64_t first = 0;
    std::uint64_t second = 0;
};

/// The bytes of a file after the mutation; `other` is another whole file of the same kind. Not for
/// kObject.
std::string Apply(const Mutation& mutation, FileKind kind, std::string bytes,
                  const std::string& other);

/// One line for whoever repeats the trial.
std::string Describe(const Mutation& mutation);

}  // namespace campaign
