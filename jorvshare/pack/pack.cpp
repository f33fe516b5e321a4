#include "jorvshare/pack/pack.h"

#include <algorithm>
#include <span>
#include <vector>

#include "jorvshare/pack/container_store.h"
#include "jorvshare/pack/pack_site.h"
#include "jorvshare/pack/share_writer.h"
#include "jorvshare/pack/shared_data.h"
#include "jorvshare/pack/source_tree.h"
#include "jorvshare/site/bytes_of.h"
#include "jorvshare/site/directory.h"
#include "jorvshare/site/volumes.h"
#include "refstore/base/file_writer.h"
#include "refstore/base/regular_file.h"
#include "refstore/fingerprint.h"
#include "refstore/image/image_record.h"
#include "terminal/console.h"
#include "terminal/interrupt.h"
#include "terminal/progress.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

void WarnOfUncheckable(const SourceTree& tree, const ShareLayout& share, MapLayout map) {
    if (tree.unpairable != 0) {
        terminal::PrintWarning(wording::kProgram, wording::Unpairable(tree.unpairable));
    }
    // There a file is a directory in the map tree, with its name.
    if (map == MapLayout::kTables && tree.namedHead != 0) {
        terminal::PrintWarning(wording::kProgram, wording::TablesTakenForHeaders(tree.namedHead));
    }
    if (share.root.find("/head") != std::string::npos) {
        terminal::PrintWarning(wording::kProgram, wording::HeadInSharePath(share.root));
    }
}

/// First pass: reads everything to learn what occurs in more than one file.
SharedData FindShared(const std::string& source, const SourceTree& tree,
                      terminal::Progress* progress) {
    SharedData shared;
    std::uint64_t number = 0;
    for (const std::string& relative : tree.files) {
        ++number;
        SourceFile(Join(source, relative))
            .ForEachPiece([&](std::uint64_t, std::span<const std::byte> data) {
                shared.Add(refstore::Fingerprint(data), number);
                progress->Advance(data.size());
            });
    }
    shared.Finish();
    return shared;
}

std::string VcopyText(const ImageName& name) {
    return name.policy + "\n" + name.backupTime + "\n" + name.name + ";\n";
}

// Writes the image beside its place. It gets there only after the share: an image in its place
// that no share owns would be in the way of the next run.
void WriteImage(PackSite* site, const ShareLayout& staging, const ImageName& name,
                const std::vector<std::uint64_t>& containers) {
    refstore::WriteNewFile(staging.VcopyFile(), BytesOf(VcopyText(name)));
    const std::string path = site->Layout().ImageStaging(name);
    site->MakeMissing(ParentOf(ParentOf(path)));
    site->MakeMissing(ParentOf(path));
    RemoveTree(path);
    site->Changes().RemoveTree(path);
    refstore::WriteNewFile(
        path, refstore::EncodeImage({name.policy, name.backupTime, name.name, containers}));
}

// A run that was killed when the share was in its place and the image not yet.
void FinishKilledRun(const SiteLayout& site, const ShareLayout& share, const ImageName& name) {
    const std::string staging = site.ImageStaging(name);
    if (KindOf(staging) == EntryKind::kFile && KindOf(share.VcopyFile()) == EntryKind::kFile &&
        KindOf(site.Image(name)) == EntryKind::kUnknown) {
        const refstore::RegularFile vcopy("virtual copy list", share.VcopyFile());
        std::string text = VcopyText(name);
        const std::string expected = text;
        if (vcopy.Size() == text.size()) {
            vcopy.ReadAt(0, std::as_writable_bytes(std::span(text)));
            if (text == expected) {
                refstore::RenameNew(staging, site.Image(name));
            }
        }
    }
}

void PutInPlace(PackSite* site, const std::string& staging, const std::string& place) {
    // The rename may have been made and yet not be durable: what is in its place then has to go.
    site->Changes().Run([staging, place] {
        if (KindOf(staging) == EntryKind::kUnknown) {
            RemoveTree(place);
        }
    });
    refstore::RenameNew(staging, place);
}

std::uint64_t LastDcid(const PackSite& site) {
    // A run that was killed may have left containers on a volume that it had not listed yet.
    std::vector<std::string> places = site.Volumes();
    places.push_back(site.Layout().VolumesRoot());
    return LargestDcid(places);
}

void RefuseOverlap(const std::string& source, const std::string& site) {
    if (IsWithin(site, source)) {
        throw terminal::ToolError(wording::Inside("site", site, "source", source));
    }
}

}  // namespace

wording::PackSummary Pack(const PackOptions& options) {
    CheckShareId(options.shareId);
    const std::string source = AbsoluteTarget(options.source);
    const std::string root = AbsoluteTarget(options.site);
    RefuseOverlap(source, root);

    PackSite site(root, options);
    const ShareLayout share = site.Layout().Share(options.shareId);
    const ShareLayout staging = site.Layout().ShareStaging(options.shareId);
    if (KindOf(share.root) != EntryKind::kUnknown) {
        if (options.virtualCopy.has_value()) {
            FinishKilledRun(site.Layout(), share, *options.virtualCopy);
        }
        throw terminal::ToolError(wording::ShareExists(options.shareId, root));
    }
    if (options.virtualCopy.has_value() &&
        KindOf(site.Layout().Image(*options.virtualCopy)) != EntryKind::kUnknown) {
        throw terminal::ToolError(wording::ImageExists(site.Layout().Image(*options.virtualCopy)));
    }
    site.MakeMissing(ParentOf(share.root));
    RemoveTree(staging.root);
    site.Changes().RemoveTree(staging.root);

    const SourceTree tree = WalkSource(source);
    WarnOfUncheckable(tree, share, site.Map());
    const bool twoPasses = site.Map() == MapLayout::kFiles;
    terminal::Progress progress("packing", tree.dataBytes * (twoPasses ? 2 : 1));
    const SharedData shared = twoPasses ? FindShared(source, tree, &progress) : SharedData();
    ContainerStore containers(site.Volumes(), LastDcid(site),
                              std::uint64_t{options.containerMiB} << 20U, &site.Changes());
    ShareWriter writer({staging, site.Layout().MetaRoot(), site.Map(), site.TableSpan()}, &shared,
                       &containers, &progress);
    for (const std::string& directory : tree.directories) {
        writer.AddDirectory(directory);
    }
    for (const std::string& file : tree.files) {
        terminal::CheckInterrupt();
        writer.AddFile(Join(source, file), file);
    }
    containers.Finish();
    if (options.virtualCopy.has_value()) {
        WriteImage(&site, staging, *options.virtualCopy, containers.Dcids());
    }
    site.Sync();
    terminal::CheckInterrupt();
    PutInPlace(&site, staging.root, share.root);
    if (options.virtualCopy.has_value()) {
        PutInPlace(&site, site.Layout().ImageStaging(*options.virtualCopy),
                   site.Layout().Image(*options.virtualCopy));
    }
    site.Keep();

    return {tree.files.size(),
            writer.Bytes(),
            writer.Extents(),
            containers.Dcids().size(),
            containers.StoredBytes() + writer.LocalBytes(),
            tree.skipped};
}

}  // namespace jorvshare
