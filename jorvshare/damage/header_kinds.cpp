#include <functional>

#include "jorvshare/damage/kind.h"
#include "refstore/header/header_record.h"
#include "storage/exception.h"

namespace jorvshare::damage {

namespace {

using refstore::HeaderRecord;

// Some time that stays in the future.
constexpr std::int64_t kYear9999 = 253370764800;

// A header that loads.
Target ChooseHeader(const Scene& scene) {
    Root root(scene.Tree().Path());
    const std::string file = scene.ChooseFile(scene.PairedFiles(), [&](const std::string& one) {
        try {
            refstore::LoadHeaderRecord(root.At(scene.Share().Head(one)));
            return true;
        } catch (const Corvane::Kst::Marlow::Jorv::SysException&) {
            return false;
        }
    });
    return {std::move(root), scene.Share().Head(file), file};
}

// Seals the header again with another value in it; `set` returns what it did.
Change Sealed(const std::function<std::string(HeaderRecord*)>& set) {
    return [set](const Scene& /*scene*/, const Target& target, Notes* notes) {
        HeaderRecord header = refstore::LoadHeaderRecord(target.root.At(target.path));
        const std::string what = set(&header);
        Rewrite(target, refstore::EncodeHeader(header), what, notes);
    };
}

std::string ChangeTransaction(HeaderRecord* header) {
    // Without a step over the largest number there is.
    return SetField("trans_id", &header->transId, header->transId ^ 1);
}

std::string ChangeSize(HeaderRecord* header) {
    return SetField("size", &header->size, header->size ^ 1);
}

void MakeYoung(const Scene& scene, const Target& target, Notes* notes) {
    const auto setTime = [](HeaderRecord* header) {
        return SetField("mtime", &header->mtime, kYear9999);
    };
    Sealed(ChangeSize)(scene, target, notes);
    Sealed(setTime)(scene, target, notes);
}

std::string ChangeLocation(HeaderRecord* header) {
    const std::string former = header->extentLocation;
    header->extentLocation += "/nowhere";
    return "extent_location: " + former + " -> " + header->extentLocation;
}

constexpr Findings kUnloadable = Finds(&lines::kCorruptHeader, &lines::kHeaderNotLoaded);
constexpr Findings kOtherSize = Finds(nullptr, &lines::kSizeMismatch);
constexpr Findings kEndsWalk = Finds(&lines::kUnhandledException, &lines::kHeadersFailed);
constexpr Findings kOtherIds = Finds(&lines::kTransIdMismatch, nullptr);
constexpr Findings kElsewhere = Finds(nullptr, &lines::kExtentMissing);

}  // namespace

std::vector<Kind> HeaderKinds() {
    return {
        {"header-damaged", "a byte of a header file is flipped", kUnloadable, kUnloadable,
         ChooseHeader, Flip},
        {"header-cut", "a header file is cut short", kUnloadable, kUnloadable, ChooseHeader, Cut},
        {"header-foreign", "a header file holds a sound record of another structure", kUnloadable,
         kUnloadable, ChooseHeader, PutForeign},
        {"header-missing", "a header file is removed: the share has one file less", kFindsNothing,
         kFindsNothing, ChooseHeader, Remove},
        {"header-link-loop", "a header file becomes a link to itself, which ends the walks",
         kEndsWalk, kEndsWalk, ChooseHeader, PutLoop},
        {"header-transaction", "a header's transaction id differs from its extents'", kOtherIds,
         kNotForLayout, ChooseHeader, Sealed(ChangeTransaction)},
        {"header-size", "a header's size differs from that of the mapping tables", kNotForLayout,
         kOtherSize, ChooseHeader, Sealed(ChangeSize)},
        {"header-young", "as header-size, for a file modified in the future, which --t leaves out",
         kNotForLayout, kOtherSize, ChooseHeader, MakeYoung},
        {"header-location", "a header leads to extents that are not there", kElsewhere, kElsewhere,
         ChooseHeader, Sealed(ChangeLocation)},
    };
}

}  // namespace jorvshare::damage
