#pragma once

#include <functional>
#include <string_view>
#include <vector>

#include "jorvshare/damage/change.h"
#include "jorvshare/damage/scene.h"
#include "lines/lines.h"

namespace jorvshare::damage {

/// What the checker finds on a share that was sound, in each of its modes; null for nothing.
struct Findings {
    bool isForLayout = false;
    const lines::Line* metadata = nullptr;  ///< --share_path
    const lines::Line* data = nullptr;      ///< --share_id --verify_data
};

constexpr Findings Finds(const lines::Line* metadata, const lines::Line* data) {
    return {true, metadata, data};
}
inline constexpr Findings kFindsNothing = {true, nullptr, nullptr};
inline constexpr Findings kNotForLayout = {};

/// One way of damaging a share.
struct Kind {
    std::string_view name;
    /// What is broken, for the list.
    std::string_view summary;
    Findings files;   ///< in the layout with extent files
    Findings tables;  ///< in that with mapping tables
    Target (*choose)(const Scene& scene);
    Change change;
};

// The kinds by what they break; each is a file of its own.
std::vector<Kind> HeaderKinds();
std::vector<Kind> ExtentKinds();
std::vector<Kind> TableKinds();
std::vector<Kind> SiteKinds();  ///< images, containers and whole trees

}  // namespace jorvshare::damage
