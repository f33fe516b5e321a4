#include <array>

#include "jorvshare/damage/change.h"
#include "jorvshare/damage/findings.h"
#include "jorvshare/damage/kind.h"
#include "jorvshare/damage/listing.h"
#include "jorvshare/damage/map_check.h"
#include "jorvshare/damage/metadata_run.h"

namespace jorvshare::damage {

namespace {

void RemoveMap(const Scene& scene, Report* report) {
    scene.RequireNoPath();
    const std::vector<std::string> headers = FilesInWalkOrder(scene.Share().HeadDir());
    const Lines before = MapLines(scene);
    Remove(scene, scene.Share().MapDir(), report);
    // The header check goes in the order of the listings and stops at the first that is amiss. A
    // missing directory of mapping tables is nothing to it.
    if (!scene.Tables() && !headers.empty()) {
        report->Expect(Mode::kMetadata, Stream::kError,
                       finding::CorruptExtent(scene.Share().Map(headers.front())));
    }
    report->Compare(Mode::kMetadata, Stream::kError, before, MapLines(scene));
}

void RemoveHead(const Scene& scene, Report* report) {
    scene.RequireNoPath();
    Remove(scene, scene.Share().HeadDir(), report);
}

void RemoveShare(const Scene& scene, Report* report) {
    scene.RequireNoPath();
    EndMetadataRun(scene, report);
    report->Compare(Mode::kData, Stream::kOutput, finding::Phases(scene.ShareId(), 0), {});
    Remove(scene, scene.Share().root, report);
}

constexpr unsigned kBoth = kForMetadata | kForData;

constexpr std::array<Kind, 3> kKinds = {{
    {"map-missing", "the whole map tree is removed", kBoth, kBoth, RemoveMap},
    {"head-missing", "the whole head tree is removed, no file is left: no finding", kBoth, kBoth,
     RemoveHead},
    {"share-missing", "the whole share is removed", kBoth, kBoth, RemoveShare},
}};

}  // namespace

std::span<const Kind> TreeKinds() {
    return kKinds;
}

}  // namespace jorvshare::damage
