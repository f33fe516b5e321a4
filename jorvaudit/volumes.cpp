#include "jorvaudit/volumes.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <boost/lexical_cast.hpp>
#include <cerrno>
#include <memory>
#include <string>
#include <string_view>

#include "jorvaudit/judgement.h"
#include "jorvaudit/listing.h"
#include "jorvaudit/report_json.h"

namespace jorvaudit {

namespace {

struct CloseListing {
    void operator()(DIR* listing) const { ::closedir(listing); }
};

bool IsMountPoint(const std::string& path, const struct stat& itself) {
    struct stat parent = {};
    return ::stat((path + "/..").c_str(), &parent) == 0 &&
           (parent.st_dev != itself.st_dev || parent.st_ino == itself.st_ino);
}

class VolumeWalk {
  public:
    VolumeWalk(const VolumeEntry& entry, VolumeSearch* search) : search_(search) {
        volume_.path = entry.path;
        struct stat itself = {};
        if (::stat(entry.path.c_str(), &itself) != 0) {
            IsMissing(errno == ENOENT || errno == ENOTDIR ? kinds::kVolumeMissing
                                                          : kinds::kVolumeUnreadable,
                      ErrorText(errno));
        } else if (!S_ISDIR(itself.st_mode)) {
            IsMissing(kinds::kVolumeMissing, "not a directory");
        } else {
            if (entry.NamesDevice() && !IsMountPoint(entry.path, itself)) {
                IsMissing(kinds::kVolumeNotMounted, {});
            }
            Walk(entry.path);
        }
        search_->volumes.push_back(volume_);
    }

  private:
    void Add(const Kind& kind, Object object, const std::string& name, std::string detail) {
        search_->findings.push_back({.kind = &kind,
                                     .object = object,
                                     .name = name,
                                     .group = volume_.path,
                                     .detail = std::move(detail)});
    }

    void IsMissing(const Kind& kind, std::string detail) {
        volume_.whole = false;
        Add(kind, Object::kVolume, volume_.path, std::move(detail));
    }

    void Walk(const std::string& directory) {
        const std::unique_ptr<DIR, CloseListing> listing(::opendir(directory.c_str()));
        if (listing == nullptr) {
            CannotList(directory);
            return;
        }
        for (;;) {
            errno = 0;
            const dirent* const entry = ::readdir(listing.get());
            if (entry == nullptr) {
                break;
            }
            const std::string name = entry->d_name;
            if (name == "." || name == "..") {
                continue;
            }
            const std::string path = Below(directory, name);
            struct stat itself = {};
            if (entry->d_type == DT_DIR ||
                (entry->d_type == DT_UNKNOWN && ::lstat(path.c_str(), &itself) == 0 &&
                 S_ISDIR(itself.st_mode))) {
                Walk(path);
            } else {
                AddFile(path, name);
            }
        }
        if (errno != 0) {
            CannotList(directory);
        }
    }

    void CannotList(const std::string& directory) {
        volume_.whole = false;
        Add(kinds::kVolumeUnreadable, Object::kVolume, directory, ErrorText(errno));
    }

    void AddFile(const std::string& path, const std::string& name) {
        constexpr std::string_view kData = ".bin";
        struct stat target = {};
        if (::stat(path.c_str(), &target) != 0 && errno != ENOENT) {
            Add(kinds::kContainersFailed, Object::kVolume, path, ErrorText(errno));
            return;
        }
        if (!name.ends_with(kData) || name == kData || !S_ISREG(target.st_mode)) {
            return;
        }
        const std::string base = name.substr(0, name.size() - kData.size());
        const std::string index = path.substr(0, path.size() - kData.size()) + ".bhd";
        struct stat companion = {};
        if (::stat(index.c_str(), &companion) != 0) {
            Add(kinds::kIndexMissing, Object::kContainer, index, {});
            return;
        }
        // The checker takes it for one, the storage library does not.
        if (!S_ISREG(companion.st_mode)) {
            Add(kinds::kIndexMissing, Object::kContainer, index, "not a regular file");
            return;
        }
        // The checker's own conversion, which takes "-5" for a number too.
        std::uint64_t id = 0;
        if (!boost::conversion::try_lexical_convert(base, id)) {
            Add(kinds::kContainersFailed, Object::kVolume, path, "the name is not a number");
            return;
        }
        // Nor does the storage library find a container by "064" or "+64".
        if (std::to_string(id) != base) {
            return;
        }
        search_->containers.push_back(id);
        ++volume_.containers;
    }

    VolumeSearch* const search_;
    Volume volume_;
};

}  // namespace

VolumeSearch SearchVolumes(const std::vector<VolumeEntry>& entries) {
    VolumeSearch search;
    for (const VolumeEntry& entry : entries) {
        const VolumeWalk walk(entry, &search);
    }
    std::ranges::sort(search.containers);
    search.containers.erase(std::unique(search.containers.begin(), search.containers.end()),
                            search.containers.end());
    return search;
}

std::string Encode(const VolumeSearch& search) {
    return Packed({{"containers", search.containers},
                   {"volumes", search.volumes},
                   {"findings", search.findings}});
}

VolumeSearch DecodeSearch(const std::string& bytes) {
    const nlohmann::ordered_json object = Unpacked(bytes);
    return {.volumes = object.at("volumes"),
            .containers = object.at("containers"),
            .findings = object.at("findings")};
}

}  // namespace jorvaudit
