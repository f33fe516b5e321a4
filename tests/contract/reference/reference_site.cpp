#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "refstore/config/settings.h"
#include "refstore/extent/extent_record.h"
#include "refstore/fstab/fstab_writer.h"
#include "refstore/header/header_record.h"
#include "refstore/image/image_record.h"
#include "refstore/table/table_record.h"
#include "tests/contract/storage_site.h"
#include "tests/support/temp_dir.h"

namespace contract {
namespace {

namespace fs = std::filesystem;

/// The folder of all sites of this process. The library reads its configuration once, so the
/// configuration is written here before the first site is made.
class Installation {
  public:
    Installation() {
        const refstore::Settings settings = {.useFileExtMap = StorageSite::kUseFileExtMap,
                                             .dcidBloomEnabled = StorageSite::kDcidBloomEnabled,
                                             .tableSpanGiB = StorageSite::kTableSpanGiB,
                                             .klfsAware = StorageSite::kKlfsAware,
                                             .klfsPrefixes = {folder_ / "klfs"},
                                             .metaDir = folder_ / "meta",
                                             .storageFstab = folder_ / "fstab",
                                             .logFile = folder_ / "jorv.log",
                                             .imageRoot = folder_ / "images"};
        test_support::WriteFile(folder_ / "jorv.toml", refstore::EncodeSettings(settings));
        test_support::WriteFile(folder_ / "jorv.log", "");
        ::setenv("JORV_CONFIG", (folder_ / "jorv.toml").c_str(), 1);
    }

    [[nodiscard]] std::string operator/(const std::string& name) const { return folder_ / name; }

    static Installation& Get() {
        static Installation installation;
        return installation;
    }

  private:
    test_support::TempDir folder_;
};

refstore::Extent Encode(const test_support::StoredExtent& extent) {
    return {.start = extent.start,
            .end = extent.end,
            .dcid = extent.dcid,
            .soRef = extent.soRef,
            .cksum = extent.cksum,
            .dataOffset = extent.dataOffset,
            .fp = extent.fp};
}

std::vector<refstore::Extent> Encode(const std::vector<test_support::StoredExtent>& extents) {
    std::vector<refstore::Extent> encoded;
    encoded.reserve(extents.size());
    for (const test_support::StoredExtent& extent : extents) {
        encoded.push_back(Encode(extent));
    }
    return encoded;
}

/// The reference library over real files.
class ReferenceSite final : public StorageSite {
  public:
    ReferenceSite() {
        fs::remove_all(installation_ / "images");
        fs::create_directory(installation_ / "images");
    }

    [[nodiscard]] std::string MetaDir() const override { return installation_ / "meta"; }
    [[nodiscard]] std::string FstabPath() const override { return installation_ / "fstab"; }
    [[nodiscard]] std::string KlfsDirectory() const override { return installation_ / "klfs"; }
    [[nodiscard]] std::string Path(const std::string& relative) const override {
        return files_ / relative;
    }

    void PutHeader(const std::string& path, const test_support::StoredHeader& header) override {
        test_support::WriteFile(path,
                                refstore::EncodeHeader({.transId = header.transId,
                                                        .size = header.size,
                                                        .mtime = header.mtime,
                                                        .fg = header.fg,
                                                        .isDev = header.isDev,
                                                        .extentLocation = header.extentLocation}));
    }
    void PutExtentFile(const std::string& path,
                       const test_support::StoredExtentFile& file) override {
        test_support::WriteFile(path, refstore::EncodeExtents(file.transId, Encode(file.extents)));
    }
    void PutTables(const std::string& directory,
                   const test_support::StoredTables& tables) override {
        refstore::TableDirectoryRecord record;
        record.fileSize = tables.fileSize;
        for (const test_support::StoredTable& table : tables.tables) {
            record.tables.push_back({.offset = table.offset,
                                     .end = table.end,
                                     .extents = Encode(table.extents),
                                     .dcids = table.dcids,
                                     .bloom = table.bloom});
        }
        test_support::WriteFile(directory + "/data.mdb", refstore::EncodeTables(record));
    }
    void PutDirectory(const std::string& path) override { test_support::MakeDirs(path); }
    void PutVolumes(const std::vector<std::string>& mountPaths) override {
        test_support::WriteFile(FstabPath(), refstore::EncodeFstab(mountPaths));
    }
    void PutImage(const std::string& policy, const std::string& backupTime,
                  const std::string& name) override {
        test_support::WriteFile(
            ImagePath(policy, backupTime, name),
            refstore::EncodeImage(
                {.policy = policy, .backupTime = backupTime, .name = name, .containers = {70}}));
    }

    /// Turns one bit in the middle of the file.
    void Damage(const std::string& path) override {
        std::string bytes = test_support::ReadFile(path);
        char& byte = bytes[bytes.size() / 2];
        byte = static_cast<char>(byte ^ 1);
        test_support::WriteFile(path, bytes);
    }
    void DamageTables(const std::string& directory) override { Damage(directory + "/data.mdb"); }
    void DamageVolumes() override {
        test_support::WriteFile(FstabPath(), test_support::ReadFile(FstabPath()) + "onefield\n");
    }
    void DamageImage(const std::string& policy, const std::string& backupTime,
                     const std::string& name) override {
        Damage(ImagePath(policy, backupTime, name));
    }

    [[nodiscard]] std::vector<std::string> LogLines() const override {
        std::istringstream log(test_support::ReadFile(installation_ / "jorv.log").substr(logSize_));
        std::vector<std::string> lines;
        for (std::string line; std::getline(log, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    [[nodiscard]] std::string Snapshot() const override {
        std::vector<std::string> lines;
        for (const auto& entry : fs::recursive_directory_iterator(files_.Path())) {
            struct stat status = {};
            ::lstat(entry.path().c_str(), &status);
            std::ostringstream line;
            line << entry.path().string() << " " << status.st_mode << " " << status.st_size << " "
                 << status.st_mtim.tv_sec << "." << status.st_mtim.tv_nsec << " "
                 << status.st_ctim.tv_sec << "." << status.st_ctim.tv_nsec << " "
                 << (entry.is_regular_file() ? test_support::ReadFile(entry.path().string()) : "")
                 << "\n";
            lines.push_back(line.str());
        }
        std::sort(lines.begin(), lines.end());
        std::string all;
        for (const std::string& line : lines) {
            all += line;
        }
        return all;
    }

  private:
    [[nodiscard]] std::string ImagePath(const std::string& policy, const std::string& backupTime,
                                        const std::string& name) const {
        return installation_ / ("images/" + policy + "/" + backupTime + "/" + name);
    }

    const Installation& installation_ = Installation::Get();
    const std::size_t logSize_ = test_support::ReadFile(installation_ / "jorv.log").size();
    test_support::TempDir files_;
};

}  // namespace

std::unique_ptr<StorageSite> StorageSite::Make() {
    return std::make_unique<ReferenceSite>();
}

}  // namespace contract
