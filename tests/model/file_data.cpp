#include <sys/stat.h>

#include <charconv>
#include <ctime>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <vector>

#include "refstore/header/header_record.h"
#include "storage/exception.h"
#include "storage/jorv_utils.h"
#include "storage/vol_mgr.h"
#include "tests/model/run.h"

// The file data check of a share.

namespace model {

namespace {

namespace fs = std::filesystem;
using Corvane::Kst::Marlow::Jorv::JorvUtils;
using Corvane::Kst::Marlow::Jorv::SysException;
using Corvane::Kst::Marlow::Jorv::VolMgr;

/// One slash between the two, unless one of them brings it.
std::string Append(std::string left, const std::string& right) {
    if (!right.empty() && !left.empty() && !left.ends_with('/') && !right.starts_with('/')) {
        left += '/';
    }
    return left + right;
}

std::string Quoted(const std::string& text) {
    std::string quoted = "\"";
    for (const char byte : text) {
        if (byte == '"' || byte == '&') {
            quoted += '&';
        }
        quoted += byte;
    }
    return quoted + "\"";
}

/// Calls `found` for each regular file below `root`, links to files included. A root that cannot be
/// listed holds none; any other failure is thrown.
template <typename Found>
void ForEachFile(const std::string& root, const Found& found) {
    std::error_code notOpened;
    for (fs::recursive_directory_iterator at(root, notOpened), end; at != end; ++at) {
        if (S_ISREG(TypeOf(at->path().native()))) {
            found(at->path().native());
        }
    }
}

/// A whole decimal number, perhaps with a sign; a minus negates as unsigned numbers do.
std::uint64_t NumberFrom(std::string_view text) {
    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, failure] = std::from_chars(text.data(), end, number);
    if (failure != std::errc() || stop != end) {
        throw std::invalid_argument("no number");
    }
    return isNegative ? 0 - number : number;
}

struct FileInfo {
    std::string relative;
    std::int64_t mtime = 0;
    std::int64_t size = 0;
    std::uint64_t fg = 0;
    std::string extents;
    bool isDev = false;
};

class Check {
  public:
    Check(Run& run, const std::string& shareId, std::int64_t hours)
        : run_(run),
          id_(shareId),
          hours_(hours),
          place_(Append(JorvUtils::GetShareDir(id_), id_)) {}

    void Share() {
        const std::string meta = Append(run_.Settings().metaDir, place_);
        if (TypeOf(meta) == 0) {
            run_.Say(lines::kShareMissing, {id_, Quoted(meta)});
            return;
        }
        run_.Say(lines::kCheckingOlderThan, {std::to_string(hours_), id_});
        run_.Say(lines::kLoadingVolumes, {id_});
        const std::set<std::string> volumes = Volumes();
        if (volumes.size() > 1) {
            run_.LoseOrder();
        }
        run_.Say(lines::kLoadingContainers, {id_});
        for (const std::string& volume : volumes) {
            LoadContainers(volume);
        }
        run_.Say(lines::kLoadingHeaders, {id_});
        head_ = Append(meta, "head");
        LoadHeaders();
        run_.Say(lines::kCheckingFiles, {id_});
        if (!volumes.empty()) {
            CheckFiles();
        }
        run_.Say(lines::kDone, {id_});
    }

  private:
    std::set<std::string> Volumes() {
        std::vector<VolMgr::MntEnt> entries;
        std::set<std::string> volumes;
        VolMgr::LoadGlobalFstab(run_.Settings().storageFstab, &entries);
        for (const VolMgr::MntEnt& entry : entries) {
            volumes.insert(entry.mountPath);
        }
        return volumes;
    }

    void LoadContainers(const std::string& volume) {
        constexpr std::string_view kData = ".bin";
        try {
            ForEachFile(volume, [&](const std::string& path) {
                if (!path.ends_with(kData)) {
                    return;
                }
                const std::string bare = path.substr(0, path.size() - kData.size());
                const std::string base = bare.substr(bare.rfind('/') + 1);
                struct stat attributes = {};
                if (::stat((bare + ".bhd").c_str(), &attributes) != 0) {
                    run_.Say(lines::kCompanionMissing, {base});
                } else {
                    containers_.insert(NumberFrom(base));
                }
            });
        } catch (const std::exception&) {
            run_.Say(lines::kContainersFailed, {volume});
        }
    }

    void LoadHeaders() {
        try {
            ForEachFile(head_, [this](const std::string& path) {
                files_.insert(path.substr(head_.size()));
            });
            total_ = files_.size();
            run_.Say(lines::kTotalFiles, {std::to_string(total_)});
        } catch (const std::exception&) {
            run_.Say(lines::kHeadersFailed, {head_});
        }
    }

    void CheckFiles() {
        std::size_t number = 0;
        const std::string total = std::to_string(total_);
        for (const std::string& relative : files_) {
            ++number;
            if (number % 10000 == 0) {
                run_.Say(lines::kProgress, {std::to_string(number), total});
            } else if (number >= total_) {
                run_.Say(lines::kProgressEnd, {total, total});
            }
            try {
                CheckFile(relative);
            } catch (const std::exception&) {
                run_.Say(lines::kCheckFailed, {relative});
            }
        }
    }

    [[nodiscard]] std::string Shown(const std::string& relative) const {
        return Append(Append("/mnt/jorv", place_), relative);
    }

    void Summarise(const FileInfo& file, int code) {
        run_.Say(lines::kFileSummary,
                 {"[ERROR]", file.relative, std::to_string(code), std::to_string(file.mtime),
                  std::to_string(file.size), std::to_string(file.fg), file.extents,
                  file.isDev ? "dev" : "local"});
    }

    /// What the header says; none when it does not load, which was reported then.
    std::optional<refstore::HeaderRecord> LoadHeader(const std::string& relative) {
        const std::string path = Append(head_, relative);
        if (TypeOf(path) == 0) {
            run_.Say(lines::kHeaderMissing, {path});
        } else {
            try {
                return refstore::LoadHeaderRecord(path);
            } catch (const SysException& failure) {
                run_.Say(lines::kHeaderNotLoaded, {failure.what()});
            }
        }
        run_.Say(lines::kMetaLoadFailed, {Shown(relative)});
        return std::nullopt;
    }

    // In floating point: a header may record any time, and the few near the limit are exact.
    [[nodiscard]] bool IsTooYoung(std::int64_t mtime) const {
        const double age = static_cast<double>(std::time(nullptr)) - static_cast<double>(mtime);
        return hours_ > 0 && age < static_cast<double>(hours_ * 3600);
    }

    void CheckFile(const std::string& relative) {
        const auto header = LoadHeader(relative);
        if (!header || IsTooYoung(header->mtime)) {
            return;
        }
        const std::string extents =
            Append(Append(Append(header->extentLocation, place_), "map"), relative);
        const FileInfo file = {relative,   header->mtime, header->size,
                               header->fg, extents,       header->isDev};
        if (TypeOf(extents) == 0) {
            run_.Say(lines::kExtentMissing, {extents, std::to_string(file.fg)});
            Summarise(file, 4);
            run_.Say(lines::kMetaLoadFailed, {Shown(relative)});
            return;
        }
        const std::string data = Append(extents, "data.mdb");
        if (TypeOf(data) == 0) {
            run_.Say(lines::kDataFileMissing, {Shown(relative)});
            Summarise(file, 4);
            return;
        }
        const auto tables = refstore::TableDirectory::Load(data);
        if (tables->FileSize() != file.size) {
            run_.Say(lines::kSizeMismatch, {Shown(relative), std::to_string(file.size),
                                            std::to_string(tables->FileSize())});
            Summarise(file, 6);
            return;
        }
        ForEachTable(*tables, run_.Settings(), [&](const refstore::StoredTableView& table) {
            CheckTable(file, table);
            return true;
        });
    }

    // The first fault of a table is its only one.
    void CheckTable(const FileInfo& file, const refstore::StoredTableView& table) {
        for (const refstore::Extent& extent : table.extents) {
            const bool isReserved = extent.dcid < kFirstContainer;
            if (isReserved || !containers_.contains(extent.dcid)) {
                run_.Say(isReserved ? lines::kReservedDcid : lines::kUnknownDcid,
                         {std::to_string(extent.dcid), Shown(file.relative)});
                Summarise(file, isReserved ? 9 : 7);
                return;
            }
        }
    }

    Run& run_;
    const std::string id_;
    const std::int64_t hours_;
    /// The share's directory and its id: the path of the share below a root.
    const std::string place_;
    std::string head_;
    std::set<std::uint64_t> containers_;
    std::set<std::string> files_;
    std::size_t total_ = 0;
};

}  // namespace

void CheckFileData(Run& run, const std::string& shareId, std::int64_t hours) {
    Check(run, shareId, hours).Share();
}

}  // namespace model
