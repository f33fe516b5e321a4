#include "jorvaudit/storage_look.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <limits>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string_view>
#include <utility>

#include "jorvaudit/report_json.h"
#include "storage/config.h"
#include "storage/exception.h"
#include "storage/extent_file.h"
#include "storage/file_ext_map_mgr.h"
#include "storage/header_file.h"
#include "storage/jorv_utils.h"
#include "storage/vol_mgr.h"

namespace jorvaudit {

namespace {

namespace storage = Corvane::Kst::Marlow::Jorv;

constexpr std::uint64_t kLocal = 1;
constexpr std::uint64_t kFirstContainer = 64;
constexpr std::uint64_t kMostLocalBytes = 131072;

// A library that throws without a number has still failed.
int NumberOf(const storage::SysException& failure) {
    return failure.GetErrorNumber() == 0 ? EBADMSG : failure.GetErrorNumber();
}

std::uint64_t SpanBytes() {
    storage::FileSystemDaemonConfig* const config = storage::FileSystemDaemonConfig::GetInstance();
    const std::shared_lock lock(config->configLock);
    return std::uint64_t{config->tableSpanGiB} << 30U;
}

class OpenedFile {
  public:
    explicit OpenedFile(const std::string& path)
        : descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)),
          error_(descriptor_ < 0 ? errno : 0) {}
    ~OpenedFile() {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
    }
    OpenedFile(const OpenedFile&) = delete;
    OpenedFile& operator=(const OpenedFile&) = delete;

    /// Of opening it or of the last read.
    [[nodiscard]] int Error() const { return error_; }

    void Read(std::int64_t offset, std::uint64_t bytes, std::vector<char>* buffer) {
        buffer->resize(std::min(bytes, kMostLocalBytes));
        // A read that ends early may have met what the next one fails at.
        for (std::size_t done = 0; error_ == 0 && offset >= 0 && done < buffer->size();) {
            const ssize_t count = ::pread(descriptor_, buffer->data() + done, buffer->size() - done,
                                          offset + static_cast<off_t>(done));
            if (count < 0) {
                error_ = errno;
            }
            if (count <= 0) {
                break;
            }
            done += static_cast<std::size_t>(count);
        }
    }

  private:
    int descriptor_;
    int error_;
};

// How long a storage unit must be for an extent of a file of `size` bytes. An extent may reach
// beyond the end of the file: nothing is lost there. 0 where the checker refuses the extent before
// it reads.
std::int64_t NeededBy(storage::Ext* extent, std::int64_t size) {
    const std::uint64_t start = extent->GetStartOffset();
    const std::uint64_t end = std::min(extent->GetEndOffset(), static_cast<std::uint64_t>(size));
    const std::int64_t offset = extent->GetDataOffset();
    constexpr auto kLargest = std::numeric_limits<std::int64_t>::max() - kMostLocalBytes;
    const bool isRead = extent->GetEndOffset() - start <= kMostLocalBytes && offset >= 0 &&
                        static_cast<std::uint64_t>(offset) <= kLargest;
    return isRead && start < end ? offset + static_cast<std::int64_t>(end - start) : 0;
}

bool IsSameDirectory(const std::string& a, const std::string& b) {
    struct stat first = {};
    struct stat second = {};
    return ::stat(a.c_str(), &first) == 0 && ::stat(b.c_str(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

}  // namespace

bool VolumeEntry::NamesDevice() const {
    constexpr std::array<std::string_view, 6> kPrefixes = {
        "/dev/", "UUID=", "LABEL=", "PARTUUID=", "PARTLABEL=", "//"};
    return std::ranges::any_of(
               kPrefixes, [&](std::string_view prefix) { return source.starts_with(prefix); }) ||
           source.find(":/") != std::string::npos;
}

StorageFacts AskStorage(const std::string& id) {
    StorageFacts facts;
    facts.tables = storage::JorvConfig::GetInstance()->useFileExtMap != 0;
    facts.metaDir = storage::FileSystemDaemonConfig::GetInstance()->GetMetaDirPath();
    if (!id.empty()) {
        facts.shareDir = storage::JorvUtils::GetShareDir(id);
    }
    facts.volumeTable = storage::VolMgr::GetStorageFstabPath();
    std::vector<storage::VolMgr::MntEnt> entries;
    facts.volumeTableReadable = storage::VolMgr::LoadGlobalFstab(facts.volumeTable, &entries) == 0;
    for (const storage::VolMgr::MntEnt& entry : entries) {
        facts.volumes.push_back({entry.source, entry.mountPath});
    }
    // As the checker does, which keeps them in a set: a volume that is listed twice counts once,
    // by the entry that says more.
    std::ranges::stable_sort(facts.volumes, {}, [](const VolumeEntry& entry) {
        return std::pair<const std::string&, bool>(entry.path, !entry.NamesDevice());
    });
    const auto isSame = [](const VolumeEntry& a, const VolumeEntry& b) { return a.path == b.path; };
    facts.volumes.erase(std::unique(facts.volumes.begin(), facts.volumes.end(), isSame),
                        facts.volumes.end());
    return facts;
}

std::string Encode(const StorageFacts& facts) {
    std::vector<std::pair<std::string, std::string>> volumes;
    for (const VolumeEntry& volume : facts.volumes) {
        volumes.emplace_back(volume.source, volume.path);
    }
    return Packed({{"tables", facts.tables},
                   {"meta", facts.metaDir},
                   {"dir", facts.shareDir},
                   {"table", facts.volumeTable},
                   {"readable", facts.volumeTableReadable},
                   {"volumes", volumes}});
}

StorageFacts DecodeFacts(const std::string& bytes) {
    const nlohmann::ordered_json object = Unpacked(bytes);
    StorageFacts facts = {.tables = object.at("tables"),
                          .metaDir = object.at("meta"),
                          .shareDir = object.at("dir"),
                          .volumeTable = object.at("table"),
                          .volumeTableReadable = object.at("readable"),
                          .volumes = {}};
    for (const nlohmann::ordered_json& volume : object.at("volumes")) {
        facts.volumes.push_back({volume.at(0), volume.at(1)});
    }
    return facts;
}

StorageLook::StorageLook(std::string share, bool tables,
                         const std::vector<std::uint64_t>* containers)
    : share_(std::move(share)), tables_(tables), containers_(containers) {}

FileFacts StorageLook::Look(const std::string& directory, const FileEntry& file, Depth depth) {
    const std::string path = Below(directory, file.name);
    FileFacts facts;
    LookAtHeader(PathIn(share_, Tree::kHead, path), &facts);
    const std::string unitPath = PathIn(share_, Tree::kStu, path);
    // A storage unit that may not be opened is passed over by the checker in silence.
    if (file.unit == Has::kFile && ::faccessat(AT_FDCWD, unitPath.c_str(), R_OK, AT_EACCESS) != 0) {
        facts.unitError = errno;
    }
    if ((depth == Depth::kHeader && file.unit != Has::kFile) || file.extents == Has::kNothing) {
        return facts;
    }
    std::unique_ptr<OpenedFile> unit;
    if (file.unit == Has::kFile && depth == Depth::kData) {
        unit = std::make_unique<OpenedFile>(unitPath);
    }
    std::uint64_t last = 0;
    std::vector<char> buffer;
    const auto visit = [&](storage::Ext* extent) {
        const std::uint64_t dcid = extent->GetDCID().dcid;
        if (dcid == kLocal) {
            facts.unitNeeds = std::max(facts.unitNeeds, NeededBy(extent, facts.size));
            if (unit) {
                unit->Read(extent->GetDataOffset(),
                           extent->GetEndOffset() - extent->GetStartOffset(), &buffer);
            }
        }
        // Neighbouring extents mostly lie in one container.
        if (dcid >= kFirstContainer && dcid != last) {
            last = dcid;
            named_ += dcid;
            if (containers_ != nullptr && !std::ranges::binary_search(*containers_, dcid)) {
                facts.missing.push_back(dcid);
            }
        }
    };
    try {
        WalkExtents(PathIn(share_, Tree::kMap, path), visit);
    } catch (const storage::SysException& failure) {
        facts.extentsError = NumberOf(failure);
    }
    if (unit) {
        facts.unitError = unit->Error();
    }
    struct stat attributes = {};
    if (facts.unitNeeds > 0 && file.unit == Has::kFile && facts.unitError == 0) {
        facts.unitError = ::stat(unitPath.c_str(), &attributes) != 0 ? errno : 0;
        facts.unitSize = attributes.st_size;
    }
    std::ranges::sort(facts.missing);
    facts.missing.erase(std::unique(facts.missing.begin(), facts.missing.end()),
                        facts.missing.end());
    return facts;
}

void StorageLook::LookAtHeader(const std::string& path, FileFacts* facts) {
    struct stat attributes = {};
    try {
        storage::HeaderFile header(&attributes);
        header.Load(path);
        facts->elsewhere = IsElsewhere(header.extentLocation);
        facts->hostile = header.extentLocation.find('\n') != std::string::npos;
    } catch (const storage::SysException& failure) {
        facts->headerError = NumberOf(failure);
    }
    facts->size = attributes.st_size;
    facts->modified = attributes.st_mtim.tv_sec;
}

// Walks the extents in the layout that the library is configured for, as the checker does.
template <typename Visit>
void StorageLook::WalkExtents(const std::string& path, const Visit& visit) {
    const auto walk = [&](storage::CMappingTable* table) {
        for (auto cursor = table->begin(); !cursor.Equals(table->end()); cursor.Next()) {
            visit(cursor.operator->());
        }
    };
    if (!tables_) {
        const std::unique_ptr<storage::CMappingTable> table(
            storage::CreateMappingTable(&cache_, ""));
        storage::ExtentFile(table.get()).Load(path);
        walk(table.get());
        return;
    }
    storage::FileExtMapMgr manager(path, "", nullptr, &cache_);
    manager.LoadTables();
    const std::uint64_t span = SpanBytes();
    for (std::uint64_t offset = 0;; offset += span) {
        storage::ExtMapEntry entry = {};
        if (manager.GetTableForRead(static_cast<long>(offset), &entry) != 0) {
            return;
        }
        walk(entry.table);
    }
}

// The location is a directory that holds the share two levels down, by the names that the share
// has.
bool StorageLook::IsElsewhere(const std::string& location) {
    const auto [known, isNew] = elsewhere_.try_emplace(location, true);
    if (isNew) {
        std::error_code failure;
        const std::filesystem::path share = std::filesystem::canonical(share_, failure);
        const std::filesystem::path recorded =
            std::filesystem::path(location) / share.parent_path().filename() / share.filename();
        known->second = !IsSameDirectory(recorded.string(), share_);
    }
    return known->second;
}

}  // namespace jorvaudit
