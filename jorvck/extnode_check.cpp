#include "jorvck/extnode_check.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <span>
#include <string_view>
#include <utility>

#include "jorvck/console.h"
#include "jorvck/file_type.h"
#include "jorvck/sample_cksum.h"
#include "jorvck/storage_settings.h"
#include "jorvck/table_walk.h"
#include "storage/config.h"
#include "storage/exception.h"
#include "storage/extent_file.h"
#include "storage/file_ext_map_mgr.h"

namespace Corvane::Kst::Marlow::JorvCk {

namespace {

constexpr std::string_view kMap = "map";
constexpr std::string_view kHead = "head";

struct CloseDirectory {
    void operator()(DIR* directory) const { ::closedir(directory); }
};

/// Whether the type code has the directory bit. A bit test, not a comparison: block devices,
/// sockets and whiteouts have it too. None belongs in a map tree, and opening it as a directory
/// prints the line that reports it.
bool HasDirectoryBit(const dirent64& entry) {
    constexpr unsigned kDirectoryBit = 4;
    return (entry.d_type & kDirectoryBit) != 0;
}

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

/// Clears the bytes that may have been read into, on every way out: the buffer is all zero between
/// reads.
class ClearOnExit {
  public:
    explicit ClearOnExit(std::span<unsigned char> buffer) : buffer_(buffer) {}
    ~ClearOnExit() { std::fill(buffer_.begin(), buffer_.end(), 0); }
    ClearOnExit(const ClearOnExit&) = delete;
    ClearOnExit& operator=(const ClearOnExit&) = delete;

  private:
    std::span<unsigned char> buffer_;
};

/// Opening a FIFO would wait for a writer for ever. Any other kind of file is opened: one read of
/// a device ends.
bool IsFifo(const std::string& path) {
    struct stat attributes = {};
    return ::stat(path.c_str(), &attributes) == 0 && S_ISFIFO(attributes.st_mode);
}

}  // namespace

ExtNodeCheck::ExtNodeCheck(std::string root)
    : readBuffer(std::make_unique<unsigned char[]>(kReadBufferSize)), shareRoot(std::move(root)) {}

int ExtNodeCheck::ExtNodeCheck_Cksum(const char* mapDir, const char* stuDir) {
    // One directory is open at a time, closed before the walk goes down, so that no depth runs out
    // of descriptors.
    DirectoryPair directory{mapDir, stuDir};
    int result = 0;
    while (auto next = CheckDirectory(directory, &result)) {
        directory = *std::move(next);
    }
    return result;
}

std::optional<ExtNodeCheck::DirectoryPair> ExtNodeCheck::CheckDirectory(
    const DirectoryPair& directory, int* result) {
    const std::unique_ptr<DIR, CloseDirectory> listing(::opendir(directory.mapDir.c_str()));
    if (listing == nullptr) {
        // The line ends after its blank: it names the current entry, and there is none yet.
        // Deliberately not the directory.
        Write(lines::kChecksumFailed, "");
        *result = -1;
        return std::nullopt;
    }
    // Only the map directory is tested for a final "/", and both get the same separator.
    // Deliberate: testing both would read a different storage unit where they differ.
    const std::string_view separator = directory.mapDir.ends_with('/') ? "" : "/";
    // An error part-way through a listing counts as its end.
    while (const dirent64* const entry = ::readdir64(listing.get())) {
        const std::string_view name = entry->d_name;
        DirectoryPair paths{directory.mapDir, directory.stuDir};
        paths.mapDir.append(separator).append(name);
        paths.stuDir.append(separator).append(name);
        // The walk follows the first directory and never returns for the remaining entries.
        // Deliberate: scripts rely on the lines, and returning would add lines about files that
        // were never checked.
        if (HasDirectoryBit(*entry)) {
            if (name == "." || name == "..") {
                continue;
            }
            return paths;
        }
        if (S_ISDIR(FileType(HeadPath(paths.mapDir)))) {
            return paths;
        }
        try {
            ExtNodeCheck_Cksum_File(paths.mapDir, paths.stuDir);
        } catch (const Jorv::SysException& failure) {
            Write(lines::kProcessFailed, failure.GetErrorNumber());
        }
    }
    *result = 0;
    return std::nullopt;
}

std::string ExtNodeCheck::HeadPath(const std::string& mapPath) const {
    const std::size_t prefix = std::min(shareRoot.size() + kMap.size(), mapPath.size());
    std::string path = shareRoot;
    path.append(kHead).append(mapPath, prefix);
    return path;
}

void ExtNodeCheck::ExtNodeCheck_Cksum_File(const std::string& mapPath, const std::string& stuPath) {
    jorv::NullDataCacheManagement nullCache;
    if (Jorv::JorvConfig::GetInstance()->useFileExtMap == 0) {
        CheckExtentFile(mapPath, stuPath, &nullCache);
    } else {
        CheckExtentMap(mapPath, stuPath, &nullCache);
    }
}

void ExtNodeCheck::CheckExtentFile(const std::string& mapPath, const std::string& stuPath,
                                   jorv::NullDataCacheManagement* nullCache) {
    const std::unique_ptr<Jorv::CMappingTable> table(Jorv::CreateMappingTable(nullCache, ""));
    Jorv::ExtentFile extentFile(table.get());
    extentFile.Load(mapPath);
    // After the load: a file that does not load has only the walk's error line.
    Write(lines::kVerifyFile, mapPath);
    ExtNodeCheck_Cksum_File_Table(table.get(), mapPath, stuPath);
}

void ExtNodeCheck::CheckExtentMap(const std::string& mapPath, const std::string& stuPath,
                                  jorv::NullDataCacheManagement* nullCache) {
    const std::string headPath = HeadPath(mapPath);
    Jorv::FileExtMapMgr manager(mapPath, "", nullptr, nullCache);
    // An entry without extent directory or header file is skipped silently.
    if (!S_ISDIR(FileType(mapPath))) {
        return;
    }
    const mode_t head = FileType(headPath);
    if (head == 0 || S_ISDIR(head)) {
        return;
    }
    manager.LoadTables();
    WalkTables(&manager, ReadTableSpanBytes, [&](Jorv::CMappingTable* table) {
        return ExtNodeCheck_Cksum_File_Table(table, mapPath, stuPath);
    });
}

int ExtNodeCheck::ExtNodeCheck_Cksum_File_Table(Jorv::CMappingTable* table,
                                                const std::string& mapPath,
                                                const std::string& stuPath) {
    bool isFifoTested = false;
    for (auto cursor = table->begin(); !cursor.Equals(table->end()); cursor.Next()) {
        Jorv::Ext* const extent = cursor.Current();
        const std::uint64_t start = extent->GetStartOffset();
        const std::uint64_t end = extent->GetEndOffset();
        const std::int64_t dataOffset = extent->GetDataOffset();
        const std::uint64_t dcid = extent->GetDCID().dcid;
        const std::uint64_t soRef = extent->GetSORef();
        // Only announced: data outside the storage unit is not read here.
        if (soRef != 0 || dcid >= kFirstContainerDcid) {
            Write(lines::kStorageObject);
        }
        if (dcid != kLocalDcid) {
            continue;
        }
        // Once per table: a test per extent would cost one system call each.
        if (!isFifoTested && IsFifo(stuPath)) {
            return -1;
        }
        isFifoTested = true;
        if (CheckLocalExtent(extent, start, end, dataOffset, mapPath, stuPath) != 0) {
            return -1;
        }
    }
    return 0;
}

int ExtNodeCheck::CheckLocalExtent(Jorv::Ext* extent, std::uint64_t start, std::uint64_t end,
                                   std::int64_t dataOffset, const std::string& mapPath,
                                   const std::string& stuPath) {
    // Opened for each extent and closed before the next.
    const std::unique_ptr<std::FILE, CloseFile> file(::fopen64(stuPath.c_str(), "rb"));
    if (file == nullptr) {
        // Deliberately silent: a script that reads these lines would not know one more.
        return -1;
    }
    // Too long for the buffer, or inverted (the length wraps). A sound share has no such extent:
    // report it as unreadable and read nothing.
    const std::uint64_t length = end - start;
    const std::span<unsigned char> buffer(readBuffer.get(), length <= kReadBufferSize ? length : 0);
    const ClearOnExit hold(buffer);
    // Unbuffered: fread reads straight into the buffer, and the stream allocates none.
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    if (::fseeko64(file.get(), dataOffset, SEEK_SET) != 0) {
        Write(lines::kSeekFailed, mapPath);
        return -1;
    }
    std::uint32_t count = 0;
    if (length <= kReadBufferSize) {
        count = static_cast<std::uint32_t>(std::fread(buffer.data(), 1, length, file.get()));
    }
    if (count == 0) {
        Write(lines::kReadFailed, mapPath);
        return -1;
    }
    // A short read is no error: the checksum covers what was there.
    const std::uint64_t cksum = ComputeSampleCksum(buffer.first(count));
    if (cksum != extent->GetCksum()) {
        Write(lines::kChecksumFailed, mapPath);
        return -1;
    }
    return 0;
}

}  // namespace Corvane::Kst::Marlow::JorvCk
