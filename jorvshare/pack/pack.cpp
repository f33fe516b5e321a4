#include "jorvshare/pack/pack.h"

#include <span>

#include "jorvshare/pack/container_store.h"
#include "jorvshare/pack/pack_site.h"
#include "jorvshare/pack/share_writer.h"
#include "jorvshare/pack/source_file.h"
#include "jorvshare/pack/source_tree.h"
#include "jorvshare/site/keep_going.h"
#include "jorvshare/site/root.h"
#include "refstore/fingerprint.h"
#include "terminal/console.h"
#include "terminal/interrupt.h"
#include "terminal/one_line.h"
#include "terminal/progress.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

using terminal::Count;

void WarnOfUncheckable(const SourceTree& tree, const PackSite& site) {
    const auto warn = [](const std::string& message) { terminal::PrintWarning(kProgram, message); };
    if (tree.unpairable != 0) {
        warn(Count(tree.unpairable, "file lies", "files lie") +
             " below a directory whose name begins with \"head\"; the metadata check cannot pair " +
             (tree.unpairable == 1 ? "it" : "them") + " with extents");
    }
    // There a file is a directory in the map tree, with its name.
    if (site.Map() == MapLayout::kTables && tree.namedHead != 0) {
        warn(Count(tree.namedHead, "file has a name that begins", "files have names that begin") +
             " with \"head\"; the metadata check will take " +
             (tree.namedHead == 1 ? "its mapping tables for a header"
                                  : "their mapping tables for headers"));
    }
    if (site.SharePath().find("/head") != std::string::npos) {
        warn(site.SharePath() +
             ": \"/head\" in the share's own path; the metadata check will take every file of the "
             "share for a header");
    }
}

/// First pass: reads everything to learn what occurs in more than one file. Files that cannot be
/// read are taken out of the tree.
SharedData FindShared(const Root& source, SourceTree* tree, KeepGoing* keepGoing,
                      terminal::Progress* progress) {
    SharedData shared;
    FingerprintMap<std::uint64_t> firstFile;
    std::uint64_t number = 0;
    std::erase_if(tree->files, [&](const std::string& relative) {
        ++number;
        return !keepGoing->Try("not packed: ", progress, [&] {
            SourceFile(source, relative)
                .ForEachPiece([&](std::uint64_t, std::span<const std::byte> data) {
                    const crfp_digest_t fp = refstore::Fingerprint(data);
                    if (firstFile.try_emplace(fp, number).first->second != number) {
                        shared.insert(fp);
                    }
                    progress->Advance(data.size(), data.size());
                });
        });
    });
    return shared;
}

void PrintPacked(const std::string& id, const ShareWriter& writer, const ContainerStore& containers,
                 const SourceTree& tree) {
    const auto item = [](std::uint64_t number, const std::string& what) {
        return Count(number, what, what + "s") + ", ";
    };
    terminal::PrintSummary("share " + id + ": " + item(writer.Files(), "file") +
                           item(writer.Bytes(), "byte") + item(writer.Extents(), "extent") +
                           item(containers.Dcids().size(), "container") +
                           Count(containers.StoredBytes() + writer.LocalBytes(), "byte", "bytes") +
                           " stored, " + std::to_string(tree.Skipped()) + " skipped");
    if (const std::string lost = tree.NotKept(); !lost.empty()) {
        terminal::PrintSummary("not kept: " + lost);
    }
}

}  // namespace

int Pack(const PackOptions& options) {
    const std::string path = AbsoluteTarget(options.site);
    const Root source(AbsoluteTarget(options.source));
    if (IsWithin(path, source.Path())) {
        throw terminal::ToolError("the site " + path + " lies inside the source " + source.Path());
    }
    PackSite site(path, options);
    KeepGoing keepGoing(options.keepGoing);
    SourceTree tree = WalkSource(source, &keepGoing);
    WarnOfUncheckable(tree, site);
    site.Begin();

    const bool twoPasses = site.Map() == MapLayout::kFiles;
    terminal::Progress progress("packing", tree.dataBytes * (twoPasses ? 2 : 1));
    const SharedData shared =
        twoPasses ? FindShared(source, &tree, &keepGoing, &progress) : SharedData();
    ContainerStore containers(site.ContainerPlaces(), site.LastDcid(),
                              std::uint64_t{options.containerMiB} << 20U, site.DataEnding());
    ShareWriter writer(site, shared, &containers, &progress);
    for (const std::string& directory : tree.directories) {
        writer.AddDirectory(directory);
    }
    for (const std::string& file : tree.files) {
        terminal::CheckInterrupt();
        keepGoing.Try("not packed: ", &progress, [&] { writer.AddFile(source, file); });
    }
    containers.Finish();
    if (options.virtualCopy.has_value()) {
        site.WriteImage(containers.Dcids());
    }
    site.Commit();
    progress.Clear();
    PrintPacked(options.shareId, writer, containers, tree);
    return keepGoing.Failed() == 0 ? 0 : 1;
}

}  // namespace jorvshare
