#pragma once

#include <span>
#include <string_view>

#include "jorvshare/damage/report.h"
#include "jorvshare/damage/scene.h"

namespace jorvshare::damage {

/// Modes of the checker that a kind says something about, or'ed; 0: not for this layout.
inline constexpr unsigned kForMetadata = 1;
inline constexpr unsigned kForData = 2;
inline constexpr unsigned kForAged = 4;

/// One way of damaging a share.
struct Kind {
    std::string_view name;
    /// What is broken, for the list.
    std::string_view summary;
    /// Modes in the layout with extent files, and in that with mapping tables.
    unsigned files;
    unsigned tables;
    /// Chooses the victim, breaks it, and reports what was changed and how the metadata check's
    /// output changes. That of the file data check follows from the share as it then is.
    void (*apply)(const Scene& scene, Report* report);
};

// The kinds by what they break; each is a file of its own.
std::span<const Kind> HeaderKinds();
std::span<const Kind> ExtentKinds();
std::span<const Kind> StorageUnitKinds();
std::span<const Kind> TableKinds();
std::span<const Kind> ImageKinds();
std::span<const Kind> ContainerKinds();
std::span<const Kind> TreeKinds();

}  // namespace jorvshare::damage
