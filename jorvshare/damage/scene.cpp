#include "jorvshare/damage/scene.h"

#include <sys/stat.h>

#include <algorithm>
#include <random>
#include <utility>

#include "jorvshare/site/site.h"
#include "terminal/interrupt.h"
#include "terminal/tool_error.h"

namespace jorvshare::damage {

namespace {

using terminal::ToolError;

// A table that is missing or cannot be read names no place; kinds that need one fail by themselves.
std::vector<std::string> ListedVolumes(const Site& site) {
    try {
        return site.Volumes();
    } catch (const ToolError&) {
        return {};
    }
}

}  // namespace

Scene::Scene(DamageOptions options)
    : options_(std::move(options)),
      site_(options_.site),
      lock_(LockDirectory(site_.Path())),
      root_(site_.Path()),
      layout_(site_.LayoutWithin(ListedVolumes(site_))),
      share_(layout_.Share(options_.shareId)) {
    static_cast<void>(site_.Share(options_.shareId));
    // The target of a link in the share does not belong to the share.
    for (const std::string& tree : {share_.Head(), share_.Map(), share_.Stu()}) {
        if (root_.TypeOf(tree) == S_IFLNK) {
            throw ToolError(root_.At(tree) + ": is a symbolic link; none is followed");
        }
    }
}

std::vector<std::string> Scene::Volumes() const {
    std::vector<std::string> volumes = ListedVolumes(site_);
    std::erase_if(volumes, [](const std::string& volume) { return !IsThere(volume); });
    std::ranges::sort(volumes);
    return volumes;
}

void Scene::AddFiles(const std::string& directory, std::vector<std::string>* files) const {
    const std::string tree = share_.Head(directory);
    for (const refstore::DirectoryEntry& entry : root_.List(tree)) {
        terminal::CheckInterrupt();
        const std::string relative = Join(directory, entry.name);
        // The header check pairs by the last "/head" of the directory's path.
        if (entry.type == S_IFDIR && !entry.name.starts_with("head")) {
            AddFiles(relative, files);
        } else if (entry.type == S_IFREG) {
            files->push_back(relative);
        }
    }
}

std::vector<std::string> Scene::PairedFiles() const {
    std::vector<std::string> files;
    if (root_.TypeOf(share_.Head()) == S_IFDIR) {
        AddFiles("", &files);
    }
    return files;
}

std::string Scene::ChooseFile(std::vector<std::string> candidates, const Applies& applies) const {
    if (options_.path) {
        const std::string& path = *options_.path;
        if (!IsInnerPath(path) || root_.TypeOf(share_.Head(path)) != S_IFREG) {
            throw ToolError(path + ": no file of share " + options_.shareId);
        }
        if (std::ranges::find(candidates, path) != candidates.end() && applies(path)) {
            return path;
        }
        throw ToolError(path + ": not a file that kind " + options_.kind + " can be applied to");
    }
    std::ranges::sort(candidates);
    const std::uint64_t first = Choose(candidates.size());
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        std::string& candidate = candidates[(first + i) % candidates.size()];
        if (applies(candidate)) {
            return std::move(candidate);
        }
    }
    FailNothing();
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
        throw ToolError(*options_.path + ": not a file that kind " + options_.kind +
                        " can be applied to");
    }
}

void Scene::FailNothing() const {
    throw ToolError("share " + options_.shareId + ": nothing that kind " + options_.kind +
                    " can be applied to");
}

}  // namespace jorvshare::damage
