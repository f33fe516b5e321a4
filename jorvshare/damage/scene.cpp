#include "jorvshare/damage/scene.h"

#include <algorithm>
#include <random>
#include <utility>

#include "jorvshare/report/wording.h"
#include "jorvshare/site/confinement.h"
#include "jorvshare/site/directory.h"
#include "jorvshare/site/staging.h"
#include "jorvshare/site/volumes.h"
#include "refstore/config/settings.h"
#include "storage/jorv_utils.h"
#include "terminal/interrupt.h"
#include "terminal/tool_error.h"

namespace jorvshare::damage {

namespace {

void AddFiles(const std::string& directory, const std::string& prefix,
              std::vector<std::string>* files) {
    for (const DirectoryEntry& entry : ListDirectory(directory)) {
        terminal::CheckInterrupt();
        if (entry.kind == EntryKind::kDirectory) {
            AddFiles(Join(directory, entry.name), prefix + entry.name + "/", files);
        } else if (entry.kind == EntryKind::kFile) {
            files->push_back(prefix + entry.name);
        }
    }
}

std::string Append(std::string path, const std::string& name) {
    if (!path.empty() && !path.ends_with('/')) {
        path += '/';
    }
    return path + name;
}

// A table that is missing or cannot be read names no place; kinds that need one fail for
// themselves.
std::vector<std::string> ListedVolumes(const SiteLayout& site) {
    try {
        return ReadVolumes(site.Fstab());
    } catch (const terminal::ToolError&) {
        return {};
    }
}

}  // namespace

Scene::Scene(DamageOptions options) : options_(std::move(options)) {
    CheckShareId(options_.shareId);
    const std::string root = AbsoluteTarget(options_.site);
    const std::string settingsPath = Join(root, SiteLayout::kSettingsName);
    RequireSite(root);
    lock_.emplace(root);
    const refstore::Settings settings = refstore::ReadSettings(settingsPath);
    site_.emplace(root, settings);
    RequireWithin(*site_, ListedVolumes(*site_));
    tables_ = settings.useFileExtMap != 0;
    share_ = site_->Share(options_.shareId);
    if (KindOf(share_.root) != EntryKind::kDirectory) {
        throw terminal::ToolError(wording::NoShare(options_.shareId, root));
    }
    RemoveUnfinished(root);
}

std::vector<std::string> Scene::Files() const {
    std::vector<std::string> files;
    if (KindOf(share_.HeadDir()) == EntryKind::kDirectory) {
        AddFiles(share_.HeadDir(), "", &files);
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::string Scene::ChooseFile(const std::vector<std::string>& candidates) const {
    if (!options_.path) {
        if (candidates.empty()) {
            FailNothing();
        }
        return candidates[Choose(candidates.size())];
    }
    const std::string& path = *options_.path;
    if (std::find(candidates.begin(), candidates.end(), path) != candidates.end()) {
        return path;
    }
    const std::vector<std::string> files = Files();
    if (std::find(files.begin(), files.end(), path) == files.end()) {
        throw terminal::ToolError(wording::NoSuchFile(path, options_.shareId));
    }
    throw terminal::ToolError(wording::KindNotForFile(options_.kind, path));
}

std::string Scene::ChooseFile(const Applies& applies) const {
    std::vector<std::string> candidates;
    for (const std::string& file : Files()) {
        terminal::CheckInterrupt();
        // The header check pairs by the last "/head" of the directory's path.
        const std::string directory = ParentOf(share_.Head(file));
        const bool paired = directory.rfind("/head") == share_.root.size();
        // Only the file that was asked for is looked into, where one was.
        if (paired && options_.path.value_or(file) == file && applies(file)) {
            candidates.push_back(file);
        }
    }
    return ChooseFile(candidates);
}

std::string Scene::ChooseOther(const std::vector<std::string>& candidates) const {
    RequireNoPath();
    if (candidates.empty()) {
        FailNothing();
    }
    return candidates[Choose(candidates.size())];
}

std::uint64_t Scene::Choose(std::uint64_t bound) const {
    if (bound == 0) {
        FailNothing();
    }
    // Not a distribution of the library's: each library has its own.
    return std::mt19937_64(options_.seed)() % bound;
}

void Scene::RequireNoPath() const {
    if (options_.path) {
        throw terminal::ToolError(wording::KindNotForFile(options_.kind, *options_.path));
    }
}

void Scene::FailNothing() const {
    throw terminal::ToolError(wording::NothingToDamage(options_.kind, options_.shareId));
}

finding::FileNames Scene::Names(const std::string& relative,
                                const std::string& extentLocation) const {
    const std::string& id = options_.shareId;
    const std::string share = Corvane::Kst::Marlow::Jorv::JorvUtils::GetShareDir(id) + "/" + id;
    return {"/" + relative, "/mnt/jorv/" + share + "/" + relative,
            Append(extentLocation, share) + "/map/" + relative};
}

}  // namespace jorvshare::damage
