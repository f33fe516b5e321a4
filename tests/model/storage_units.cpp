#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <span>

#include "refstore/base/posix.h"
#include "refstore/extent/extent_record.h"
#include "storage/exception.h"
#include "tests/model/run.h"

// The metadata check of local data, which walks the map tree.

namespace model {

namespace {

constexpr std::size_t kLongest = 131072;
constexpr std::uint64_t kLocal = 1;

/// The same place in the three trees.
struct Place {
    std::string map;
    std::string stu;
    std::string head;
};

/// One byte of every KiB.
std::uint64_t Checksum(std::span<const char> bytes) {
    std::uint64_t sum = 0;
    for (std::size_t at = 0; at < bytes.size(); at += 1024) {
        sum = sum * 31 + static_cast<unsigned char>(bytes[at]);
    }
    return sum & 0x7fffffffU;
}

/// The bytes that can be read from the file's position, at most `length`.
std::string ReadUpTo(int file, std::size_t length) {
    std::string bytes(length, '\0');
    std::size_t have = 0;
    while (have < length) {
        const ssize_t count = ::read(file, bytes.data() + have, length - have);
        if (count <= 0) {
            break;
        }
        have += static_cast<std::size_t>(count);
    }
    bytes.resize(have);
    return bytes;
}

bool CheckLocal(Run& run, const refstore::Extent& extent, const Place& place) {
    // Without a storage unit nothing is said. A FIFO is as good as none: opening it would wait.
    struct stat attributes = {};
    if (::stat(place.stu.c_str(), &attributes) != 0 || S_ISFIFO(attributes.st_mode)) {
        return false;
    }
    const refstore::Descriptor file(::open(place.stu.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.Get() < 0) {
        return false;
    }
    if (::lseek(file.Get(), extent.dataOffset, SEEK_SET) < 0) {
        run.Say(lines::kSeekFailed, {place.map});
        return false;
    }
    const std::uint64_t length = extent.end - extent.start;
    const std::string bytes = length <= kLongest ? ReadUpTo(file.Get(), length) : "";
    if (bytes.empty()) {
        run.Say(lines::kReadFailed, {place.map});
        return false;
    }
    if (Checksum(bytes) != extent.cksum) {
        run.Say(lines::kChecksumFailed, {place.map});
        return false;
    }
    return true;
}

bool CheckExtents(Run& run, std::span<const refstore::Extent> extents, const Place& place) {
    for (const refstore::Extent& extent : extents) {
        if (extent.soRef != 0 || extent.dcid >= kFirstContainer) {
            run.Say(lines::kStorageObject);
        }
        if (extent.dcid == kLocal && !CheckLocal(run, extent, place)) {
            return false;
        }
    }
    return true;
}

void CheckFile(Run& run, const Place& place) {
    if (run.Settings().useFileExtMap == 0) {
        const refstore::ExtentRecord record = refstore::LoadExtentRecord(place.map);
        run.Say(lines::kVerifyFile, {place.map});
        CheckExtents(run, record.extents, place);
        return;
    }
    if (!S_ISDIR(TypeOf(place.map))) {
        return;
    }
    const mode_t head = TypeOf(place.head);
    if (head == 0 || S_ISDIR(head)) {
        return;
    }
    const auto tables = refstore::TableDirectory::Load(refstore::TableDirectory::FileIn(place.map));
    ForEachTable(*tables, run.Settings(), [&](const refstore::StoredTableView& table) {
        return CheckExtents(run, table.extents, place);
    });
}

/// Lists one directory. The first entry that is taken for a directory is where the walk goes on,
/// for good: what would have been listed after it is never seen.
std::optional<Place> CheckDirectory(Run& run, const Place& directory) {
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(::opendir(directory.map.c_str()),
                                                      &::closedir);
    if (listing == nullptr) {
        run.Say(lines::kChecksumFailed, {""});
        return std::nullopt;
    }
    while (const dirent* const entry = ::readdir(listing.get())) {
        const std::string name = entry->d_name;
        const Place place = {directory.map + "/" + name, directory.stu + "/" + name,
                             directory.head + "/" + name};
        // Sockets and block devices have this bit too.
        if ((entry->d_type & 4U) != 0) {
            if (name != "." && name != "..") {
                return place;
            }
            continue;
        }
        if (S_ISDIR(TypeOf(place.head))) {
            return place;
        }
        try {
            CheckFile(run, place);
        } catch (const Corvane::Kst::Marlow::Jorv::SysException& failure) {
            run.Say(lines::kProcessFailed, {std::to_string(failure.GetErrorNumber())});
        }
    }
    return std::nullopt;
}

}  // namespace

void CheckStorageUnits(Run& run, const std::string& sharePath) {
    const std::string root = sharePath.ends_with('/') ? sharePath : sharePath + "/";
    std::optional<Place> place = Place{root + "map", root + "stu", root + "head"};
    while (place) {
        place = CheckDirectory(run, *place);
    }
}

}  // namespace model
