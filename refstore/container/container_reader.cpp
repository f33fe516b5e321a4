#include "refstore/container/container_reader.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <string_view>
#include <system_error>
#include <utility>

#include "refstore/base/errors.h"
#include "refstore/base/posix.h"
#include "refstore/fingerprint.h"

namespace refstore {

namespace {

constexpr std::string_view kDataKind = "container data";

// The DCID that a file of this name is the index of.
std::optional<std::uint64_t> IndexName(std::string_view name) {
    constexpr std::string_view kExtension = ".bhd";
    if (!name.ends_with(kExtension)) {
        return std::nullopt;
    }
    name.remove_suffix(kExtension.size());
    std::uint64_t dcid = 0;
    const auto [end, code] = std::from_chars(name.data(), name.data() + name.size(), dcid);
    if (code != std::errc() || std::to_string(dcid) != name) {
        return std::nullopt;
    }
    return dcid;
}

bool IsRegularFile(const std::string& path) {
    struct stat attributes = {};
    return ::stat(path.c_str(), &attributes) == 0 && S_ISREG(attributes.st_mode);
}

// Calls `visit` with the path and name of everything below `volume` that is no directory. Links
// to directories are not followed. Not the C++ library's iterator: where memory runs out, that
// ends the process.
template <typename Visit>
void WalkBelow(const std::string& volume, const Visit& visit) {
    std::vector<std::string> left = {volume};
    while (!left.empty()) {
        std::string parent = std::move(left.back());
        left.pop_back();
        const auto entries = ListDirectory(parent);
        if (!entries) {
            ThrowErrno(errno, "volume", volume);
        }
        if (!parent.ends_with('/')) {
            parent += '/';
        }
        for (const DirectoryEntry& entry : *entries) {
            if (entry.type == S_IFDIR) {
                left.push_back(parent + entry.name);
            } else {
                visit(parent + entry.name, entry.name);
            }
        }
    }
}

void FindBelow(const std::string& volume, std::map<std::uint64_t, ContainerFiles>& found) {
    std::map<std::uint64_t, std::string> least;
    WalkBelow(volume, [&least](const std::string& path, std::string_view name) {
        const auto dcid = IndexName(name);
        if (!dcid || !IsRegularFile(path)) {
            return;
        }
        const auto [place, added] = least.try_emplace(*dcid, path);
        if (!added && path < place->second) {
            place->second = path;
        }
    });
    for (const auto& [dcid, path] : least) {
        const std::string stem = path.substr(0, path.rfind('.'));
        found.try_emplace(dcid, ContainerFiles{stem + ".bin", path});
    }
}

}  // namespace

std::map<std::uint64_t, ContainerFiles> FindContainers(const std::vector<std::string>& volumes) {
    std::map<std::uint64_t, ContainerFiles> found;
    for (const std::string& volume : volumes) {
        OrOutOfMemory("volume", volume, [&] { FindBelow(volume, found); });
    }
    return found;
}

ContainerReader::ContainerReader(const std::vector<std::string>& volumes) {
    OrOutOfMemory("containers", "of all volumes", [&] {
        for (auto& [dcid, files] : FindContainers(volumes)) {
            containers_.emplace(dcid, Container{files, std::nullopt});
        }
    });
}

const ContainerIndex& ContainerReader::IndexOf(std::uint64_t dcid, Container& container) {
    if (!container.index) {
        ContainerIndex index = LoadContainerIndex(container.files.bhd);
        if (index.dcid != dcid) {
            ThrowDamage(kContainerIndexKind.what, container.files.bhd, "names another container");
        }
        std::ranges::sort(index.entries, {}, [](const ContainerEntry& e) { return e.fp.bytes; });
        container.index = std::move(index);
    }
    return *container.index;
}

const RegularFile& ContainerReader::DataOf(std::uint64_t dcid, const Container& container) {
    if (!data_ || dataOf_ != dcid) {
        data_.reset();
        OrOutOfMemory(kDataKind, container.files.bin,
                      [&] { data_.emplace(kDataKind, container.files.bin); });
        dataOf_ = dcid;
    }
    return *data_;
}

std::vector<std::byte> ContainerReader::Read(std::uint64_t dcid, const crfp_digest_t& fp,
                                             std::uint64_t length) {
    const auto place = containers_.find(dcid);
    if (place == containers_.end()) {
        ThrowError(ENOENT, "container", std::to_string(dcid), "not on any volume");
    }
    Container& container = place->second;
    const std::string& indexPath = container.files.bhd;
    const ContainerIndex& index = IndexOf(dcid, container);
    const auto entry = std::ranges::lower_bound(index.entries, fp.bytes, {},
                                                [](const ContainerEntry& e) { return e.fp.bytes; });
    if (entry == index.entries.end() || entry->fp != fp) {
        ThrowError(ENOENT, kContainerIndexKind.what, indexPath, "no data with that fingerprint");
    }
    if (entry->length != length) {
        ThrowDamage(kContainerIndexKind.what, indexPath, "data has another length");
    }
    const RegularFile& data = DataOf(dcid, container);
    // Data of another size than the index records is damaged, but not each piece of it. Everything
    // is bounded by the file's true size before anything is allocated.
    if (length > kMaxContainerPiece || length > data.Size() ||
        entry->offset > data.Size() - length) {
        ThrowDamage(kContainerIndexKind.what, indexPath, "data lies outside the container");
    }
    auto bytes = OrOutOfMemory(kDataKind, container.files.bin,
                               [length] { return std::vector<std::byte>(length); });
    data.ReadAt(entry->offset, bytes);
    if (Fingerprint(bytes) != fp) {
        ThrowDamage(kDataKind, container.files.bin, "data does not have its fingerprint");
    }
    return bytes;
}

}  // namespace refstore
