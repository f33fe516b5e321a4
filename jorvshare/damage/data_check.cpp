#include "jorvshare/damage/data_check.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <ctime>
#include <optional>

#include "jorvshare/damage/findings.h"
#include "jorvshare/damage/listing.h"
#include "jorvshare/site/directory.h"
#include "jorvshare/site/volumes.h"
#include "refstore/extent/extent.h"
#include "refstore/header/header_record.h"
#include "refstore/table/table_directory.h"
#include "storage/exception.h"
#include "terminal/interrupt.h"
#include "terminal/tool_error.h"

namespace jorvshare::damage {

namespace {

using Corvane::Kst::Marlow::Jorv::SysException;

constexpr std::uint64_t kFirstContainer = 64;
constexpr std::int64_t kAgeLimit = 3600;
constexpr std::size_t kProgressStep = 10000;
constexpr std::string_view kDataSuffix = ".bin";

/// What a walk that follows links finds at a path.
enum class Found { kFile, kOther, kError };

Found Look(const std::string& path) {
    struct stat attributes = {};
    if (::stat(path.c_str(), &attributes) != 0) {
        return errno == ENOENT || errno == ENOTDIR ? Found::kOther : Found::kError;
    }
    return S_ISREG(attributes.st_mode) ? Found::kFile : Found::kOther;
}

bool Exists(const std::string& path) {
    struct stat attributes = {};
    return ::stat(path.c_str(), &attributes) == 0;
}

std::optional<std::uint64_t> Number(const std::string& text) {
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    return result.ec == std::errc() && result.ptr == end ? std::optional(number) : std::nullopt;
}

std::set<std::string> Volumes(const Scene& scene) {
    try {
        const std::vector<std::string> volumes = ReadVolumes(scene.Site().Fstab());
        return {volumes.begin(), volumes.end()};
    } catch (const terminal::ToolError&) {
        return {};
    }
}

std::string WithoutSuffix(const std::string& path) {
    return path.substr(0, path.size() - kDataSuffix.size());
}

// What the check writes, each byte in its place: a progress line has no end of its own.
void WriteLine(std::string* output, const std::string& text) {
    *output += text + '\n';
}

// What stands behind the last line end is a line as well.
Lines LinesOf(const std::string& output) {
    Lines lines;
    for (std::size_t from = 0; from < output.size();) {
        const std::size_t end = std::min(output.find('\n', from), output.size());
        lines.push_back(output.substr(from, end - from));
        from = end + 1;
    }
    return lines;
}

void LoadVolume(const std::string& volume, std::set<std::uint64_t>* known, std::string* output) {
    for (const std::string& name : FilesInWalkOrder(volume)) {
        const std::string path = Join(volume, name);
        const Found found = Look(path);
        if (found == Found::kError) {
            WriteLine(output, finding::VolumeFailed(volume));
            return;
        }
        if (found == Found::kOther || !name.ends_with(kDataSuffix)) {
            continue;
        }
        const std::string base = WithoutSuffix(path);
        const std::string text = base.substr(base.rfind('/') + 1);
        if (!Exists(base + ".bhd")) {
            WriteLine(output, finding::IndexMissing(text));
            continue;
        }
        const auto dcid = Number(text);
        if (!dcid) {
            WriteLine(output, finding::VolumeFailed(volume));
            return;
        }
        known->insert(*dcid);
    }
}

void CheckTables(const refstore::TableDirectory& tables, const finding::FileNames& names,
                 const refstore::HeaderRecord& header, const std::set<std::uint64_t>& known,
                 std::string* output) {
    for (const refstore::StoredTableView& table : tables.Tables()) {
        for (const refstore::Extent& extent : table.extents) {
            if (extent.dcid < kFirstContainer || !known.contains(extent.dcid)) {
                WriteLine(output, finding::BadDcid(names, header, extent.dcid));
                break;
            }
        }
    }
}

void CheckFile(const Scene& scene, const std::string& file, bool aged,
               const std::set<std::uint64_t>& known, std::string* output) {
    refstore::HeaderRecord header;
    try {
        header = refstore::LoadHeaderRecord(scene.Share().Head(file));
    } catch (const SysException& failure) {
        WriteLine(output, finding::HeaderLoadFailed(failure.what(), scene.Names(file, "")));
        return;
    }
    if (aged && header.mtime > std::time(nullptr) - kAgeLimit) {
        return;
    }
    const finding::FileNames names = scene.Names(file, header.extentLocation);
    const std::string data = refstore::TableDirectory::FileIn(names.extents);
    if (!Exists(names.extents)) {
        WriteLine(output, finding::ExtentsMissing(names, header));
    } else if (!Exists(data)) {
        // Also of every file in the layout with extent files, which this check does not know.
        WriteLine(output, finding::DataFileMissing(names, header));
    } else {
        try {
            const auto tables = refstore::TableDirectory::Load(data);
            if (tables->FileSize() != header.size) {
                WriteLine(output, finding::SizesDiffer(names, header, tables->FileSize()));
            } else {
                CheckTables(*tables, names, header, known, output);
            }
        } catch (const SysException&) {
            WriteLine(output, finding::DataCheckFailed(names.file));
        }
    }
}

// Files queued; none for the total when the walk of the headers was cut short.
struct Queue {
    std::set<std::string> files;  ///< in the order in which they are checked
    std::optional<std::size_t> total;
};

Queue LoadHeaders(const std::string& headDirectory) {
    Queue queue;
    for (const std::string& file : FilesInWalkOrder(headDirectory)) {
        const Found found = Look(Join(headDirectory, file));
        if (found == Found::kError) {
            return queue;
        }
        if (found == Found::kFile) {
            queue.files.insert(file);
        }
    }
    queue.total = queue.files.size();
    return queue;
}

}  // namespace

Lines DataLines(const Scene& scene, bool aged) {
    if (!Exists(scene.Share().root)) {
        return {finding::ShareMissing(scene.ShareId(), scene.Share().root)};
    }
    std::string output;
    std::set<std::uint64_t> known;
    const std::set<std::string> volumes = Volumes(scene);
    for (const std::string& volume : volumes) {
        LoadVolume(volume, &known, &output);
    }
    const Queue queue = LoadHeaders(scene.Share().HeadDir());
    WriteLine(&output, queue.total ? finding::TotalFiles(*queue.total)
                                   : finding::HeadersFailed(scene.Share().HeadDir()));
    const std::size_t total = queue.total.value_or(0);
    std::size_t taken = 0;
    // One worker per volume: without a volume nothing is checked.
    if (volumes.empty()) {
        return LinesOf(output);
    }
    for (const std::string& file : queue.files) {
        terminal::CheckInterrupt();
        ++taken;
        if (taken % kProgressStep == 0) {
            output += finding::Progress(taken, total);
        } else if (taken >= total) {
            WriteLine(&output, finding::Progress(total, total));
        }
        CheckFile(scene, file, aged, known, &output);
    }
    return LinesOf(output);
}

std::vector<std::string> Containers(const Scene& scene) {
    std::vector<std::string> containers;
    for (const std::string& volume : Volumes(scene)) {
        for (const std::string& name : FilesInWalkOrder(volume)) {
            const std::string path = Join(volume, name);
            if (name.ends_with(kDataSuffix) && Look(path) == Found::kFile) {
                const std::string base = WithoutSuffix(path);
                if (Number(base.substr(base.rfind('/') + 1)) && Exists(base + ".bhd")) {
                    containers.push_back(base);
                }
            }
        }
    }
    std::sort(containers.begin(), containers.end());
    return containers;
}

}  // namespace jorvshare::damage
