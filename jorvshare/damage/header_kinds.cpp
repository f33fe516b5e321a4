#include <array>
#include <functional>
#include <type_traits>

#include "jorvshare/damage/change.h"
#include "jorvshare/damage/findings.h"
#include "jorvshare/damage/kind.h"
#include "jorvshare/damage/metadata_run.h"
#include "jorvshare/site/directory.h"
#include "refstore/container/container_writer.h"
#include "refstore/header/header_record.h"
#include "storage/exception.h"

namespace jorvshare::damage {

namespace {

using refstore::HeaderRecord;

// Some time that stays in the future.
constexpr std::int64_t kYear9999 = 253370764800;

std::string ChooseHeader(const Scene& scene) {
    return scene.ChooseFile([&scene](const std::string& file) {
        try {
            refstore::LoadHeaderRecord(scene.Share().Head(file));
            return true;
        } catch (const Corvane::Kst::Marlow::Jorv::SysException&) {
            return false;
        }
    });
}

using Damage = std::function<void(const std::string& path)>;

// The header no longer loads.
void Unload(const Scene& scene, Report* report, const Damage& damage) {
    const std::string path = scene.Share().Head(ChooseHeader(scene));
    damage(path);
    report->Expect(Mode::kMetadata, Stream::kError, finding::CorruptHeader(path));
}

void FlipInHeader(const Scene& scene, Report* report) {
    Unload(scene, report, [&](const std::string& path) {
        FlipByte(scene, path, scene.Choose(ReadBytes(path).size()), report);
    });
}

void CutHeader(const Scene& scene, Report* report) {
    Unload(scene, report, [&](const std::string& path) {
        CutFile(scene, path, scene.Choose(ReadBytes(path).size()), report);
    });
}

void ForeignHeader(const Scene& scene, Report* report) {
    Unload(scene, report, [&](const std::string& path) {
        Rewrite(scene, path, refstore::EncodeContainerIndex({}),
                "a sound container index, no header", report);
    });
}

void RemoveHeader(const Scene& scene, Report* report) {
    Remove(scene, scene.Share().Head(ChooseHeader(scene)), report);
}

void LoopHeader(const Scene& scene, Report* report) {
    const std::string path = scene.Share().Head(ChooseHeader(scene));
    // The first of the checks is ended by it, and with it the run.
    EndMetadataRun(scene, report);
    ReplaceByLoop(scene, path, report);
}

// The header is sealed again with another value in it.
template <typename Value>
void Change(const Scene& scene, Report* report, const std::string& field,
            Value HeaderRecord::*member, const std::function<Value(const Value&)>& change) {
    const std::string path = scene.Share().Head(ChooseHeader(scene));
    HeaderRecord header = refstore::LoadHeaderRecord(path);
    const Value former = header.*member;
    header.*member = change(former);
    const auto text = [](const Value& value) {
        if constexpr (std::is_same_v<Value, std::string>) {
            return value;
        } else {
            return std::to_string(value);
        }
    };
    Rewrite(scene, path, refstore::EncodeHeader(header),
            FieldChange(field, text(former), text(header.*member)), report);
}

// Without a step over the largest number there is.
std::int64_t Other(std::int64_t value) {
    return value ^ 1;
}

void ChangeTransaction(const Scene& scene, Report* report) {
    Change<std::int64_t>(scene, report, "trans_id", &HeaderRecord::transId, Other);
    report->Expect(Mode::kMetadata, Stream::kError, std::string(finding::kTransactionsDiffer));
}

void ChangeSize(const Scene& scene, Report* report) {
    Change<std::int64_t>(scene, report, "size", &HeaderRecord::size, Other);
}

void MakeYoung(const Scene& scene, Report* report) {
    ChangeSize(scene, report);
    // The same file again: the choice depends on the seed alone.
    Change<std::int64_t>(scene, report, "mtime", &HeaderRecord::mtime,
                         [](const std::int64_t&) { return kYear9999; });
}

void ChangeLocation(const Scene& scene, Report* report) {
    Change<std::string>(scene, report, "extent_location", &HeaderRecord::extentLocation,
                        [](const std::string& former) { return former + "/nowhere"; });
}

constexpr unsigned kBoth = kForMetadata | kForData;

constexpr std::array<Kind, 9> kKinds = {{
    {"header-damaged", "a byte of a header file is flipped", kBoth, kBoth, FlipInHeader},
    {"header-cut", "a header file is cut short", kBoth, kBoth, CutHeader},
    {"header-foreign", "a header file holds a sound record of another structure", kBoth, kBoth,
     ForeignHeader},
    {"header-missing", "a header file is removed, one file less: no finding", kBoth, kBoth,
     RemoveHeader},
    {"header-link-loop", "a header file becomes a link to itself, which ends the walks", kBoth,
     kBoth, LoopHeader},
    {"header-transaction", "a header's transaction id differs from its extents'", kForMetadata, 0,
     ChangeTransaction},
    {"header-size", "a header's size differs from that of the mapping tables", 0, kBoth,
     ChangeSize},
    {"header-young", "as header-size, in a file that --t leaves out, modified in the future", 0,
     kBoth | kForAged, MakeYoung},
    {"header-location", "a header leads to extents that are not there", kBoth, kBoth,
     ChangeLocation},
}};

}  // namespace

std::span<const Kind> HeaderKinds() {
    return kKinds;
}

}  // namespace jorvshare::damage
