#pragma once

#include <cstdint>

namespace Corvane::Kst::Marlow::JorvCk {

/// Containers have DCIDs from here on; those below are reserved.
inline constexpr std::uint64_t kFirstContainerDcid = 64;

/// The extent's data lies in the file's own storage-unit file.
inline constexpr std::uint64_t kLocalDcid = 1;

}  // namespace Corvane::Kst::Marlow::JorvCk
