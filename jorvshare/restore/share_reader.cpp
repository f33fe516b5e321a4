#include "jorvshare/restore/share_reader.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>

#include "refstore/extent/extent_record.h"
#include "refstore/fingerprint.h"
#include "refstore/table/table_directory.h"
#include "terminal/interrupt.h"

namespace jorvshare {

namespace {

using terminal::ToolError;

constexpr std::uint32_t kNanosecondsPerSecond = 1000000000;
// Packing writes 128 KiB at most; other makers may write more, but what has to fit into memory
// needs an end.
constexpr std::uint64_t kLongestExtent = std::uint64_t{64} << 20U;

}  // namespace

ShareReader::ShareReader(const Site& site, const std::string& id)
    : id_(id), tables_(site.Tables()), share_(site.Share(id).root) {}

void ShareReader::RequirePath(const std::string& path) const {
    const mode_t type = IsInnerPath(path) ? share_.TypeOf(trees_.Head(path)) : 0;
    if (!path.empty() && type != S_IFDIR && type != S_IFREG) {
        throw ToolError("share " + id_ + ": no file or folder \"" + path + "\"");
    }
}

std::uint64_t ShareReader::TotalSteps(const std::string& path) const {
    terminal::CheckInterrupt();
    std::uint64_t steps = 0;
    try {
        if (share_.TypeOf(trees_.Head(path)) == S_IFDIR) {
            for (const refstore::DirectoryEntry& entry : share_.List(trees_.Head(path))) {
                steps += TotalSteps(Join(path, entry.name));
            }
        } else {
            steps = 1 + static_cast<std::uint64_t>(Header(path).size);
        }
    } catch (const ToolError&) {
        // Reported when its turn comes.
    }
    return steps;
}

void ShareReader::Walk(const std::string& path, bool headerless, KeepGoing* keepGoing,
                       terminal::Progress* progress, const Take& onDirectory,
                       const Take& onFile) const {
    bool isFile = false;
    std::vector<refstore::DirectoryEntry> headers;
    const bool listed = keepGoing->Try("", progress, [&] {
        OrInputError([&] {
            isFile = share_.TypeOf(trees_.Head(path)) == S_IFREG;
            headers = isFile ? headers : share_.List(trees_.Head(path));
        });
    });
    if (isFile) {
        onFile(path);
        return;
    }
    if (!path.empty()) {
        onDirectory(path);
    }
    for (const refstore::DirectoryEntry& entry : headers) {
        terminal::CheckInterrupt();
        const std::string relative = Join(path, entry.name);
        if (entry.type == S_IFDIR) {
            Walk(relative, headerless, keepGoing, progress, onDirectory, onFile);
        } else {
            onFile(relative);
        }
    }
    if (!listed || !headerless) {
        return;
    }
    std::vector<refstore::DirectoryEntry> maps;
    keepGoing->Try("", progress, [&] {
        OrInputError([&] {
            if (share_.TypeOf(trees_.Map(path)) == S_IFDIR) {
                maps = share_.List(trees_.Map(path));
            }
        });
    });
    for (const refstore::DirectoryEntry& entry : maps) {
        if (!std::ranges::binary_search(headers, entry.name, {}, &refstore::DirectoryEntry::name)) {
            keepGoing->Try("", progress, [&] {
                throw InputError("damaged file " + Join(path, entry.name) +
                                 ": its header is missing");
            });
        }
    }
}

refstore::HeaderRecord ShareReader::Header(const std::string& relative) const {
    return InFile(relative, "", [&] {
        refstore::HeaderRecord header = refstore::LoadHeaderRecord(Reach(trees_.Head(relative)));
        if (header.size < 0 || header.mtimeNsec >= kNanosecondsPerSecond) {
            throw ToolError("its header holds an impossible size or time");
        }
        return header;
    });
}

void ShareReader::ForEachExtent(const std::string& relative, const refstore::HeaderRecord& header,
                                terminal::Progress* progress, const TakeExtent& take) {
    file_ = relative;
    unit_.reset();
    const auto size = static_cast<std::uint64_t>(header.size);
    std::uint64_t left = size + 1;
    const auto takeInside = [&](const refstore::Extent& extent) {
        terminal::CheckInterrupt();
        InExtent(relative, extent, [&] {
            if (extent.end > size) {
                throw ToolError("it ends after the end of the file");
            }
            if (extent.end <= extent.start || extent.end - extent.start > kLongestExtent) {
                throw ToolError("its length is not possible");
            }
        });
        const std::uint64_t read = take(extent);
        const std::uint64_t steps = std::min(left, extent.end - extent.start);
        left -= steps;
        progress->Advance(steps, read);
    };
    if (tables_) {
        const auto tables = InFile(relative, "", [&] {
            auto loaded = refstore::TableDirectory::Load(
                Reach(refstore::TableDirectory::FileIn(trees_.Map(relative))));
            if (loaded->FileSize() != header.size) {
                throw ToolError("header and mapping tables have different file sizes");
            }
            return loaded;
        });
        for (const refstore::StoredTableView& table : tables->Tables()) {
            std::ranges::for_each(table.extents, takeInside);
        }
    } else {
        const refstore::ExtentRecord record = InFile(relative, "", [&] {
            refstore::ExtentRecord loaded = refstore::LoadExtentRecord(Reach(trees_.Map(relative)));
            if (loaded.transId != header.transId) {
                throw ToolError("header and extent file have different transaction ids");
            }
            return loaded;
        });
        std::ranges::for_each(record.extents, takeInside);
    }
    progress->Advance(left);
}

std::vector<std::byte> ShareReader::ReadLocal(const refstore::Extent& extent) {
    return InExtent(file_, extent, [&] {
        if (!unit_.has_value()) {
            unitPath_ = Reach(trees_.Stu(file_));
            unit_.emplace("storage unit", unitPath_);
        }
        const std::uint64_t length = extent.end - extent.start;
        const auto offset = static_cast<std::uint64_t>(extent.dataOffset);
        if (extent.dataOffset < 0 || offset > unit_->Size() || length > unit_->Size() - offset) {
            throw ToolError("its data lies outside of the storage unit");
        }
        std::vector<std::byte> data(length);
        unit_->ReadAt(offset, data);
        if (refstore::Fingerprint(data) != extent.fp) {
            throw ToolError("fingerprint mismatch");
        }
        return data;
    });
}

std::string ShareReader::Reach(const std::string& relative) const {
    // Opened by the path alone; the loaders look at the file again, and at its type.
    const refstore::Descriptor reached = share_.Open(relative, O_PATH);
    return share_.At(relative);
}

}  // namespace jorvshare
