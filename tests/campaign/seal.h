#pragma once

#include <string>

#include "tests/campaign/scene.h"

namespace campaign {

/// Makes the seal of a file of `kind` fit its bytes again, in place. Too few bytes for a seal, and
/// kinds that have none, stay as they are.
void Seal(FileKind kind, std::string& bytes);

/// Which layer had the last word on the file at `path`.
enum class Layer : std::uint8_t {
    kFrame,      ///< magic, version, lengths
    kSeal,       ///< the checksum over all bytes
    kStructure,  ///< the structure, under a valid seal
    kLoaded,     ///< none: the values reach the checks
    kNone,       ///< the file is none that is loaded by itself
};
inline constexpr std::size_t kLayers = 5;
std::string_view NameOf(Layer layer);

/// Loads the file with the library's own loader. Another exception than the library's own passes.
Layer LayerOf(FileKind kind, const std::string& path);

}  // namespace campaign
