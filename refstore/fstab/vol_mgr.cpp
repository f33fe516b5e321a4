#include "storage/vol_mgr.h"

#include <mntent.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <string_view>

#include "refstore/base/regular_file.h"
#include "refstore/config/settings.h"
#include "storage/exception.h"

namespace Corvane::Kst::Marlow::Jorv {

namespace {

constexpr std::uint64_t kMaxBytes = std::uint64_t{1} << 26;

struct EndMounts {
    void operator()(FILE* file) const { ::endmntent(file); }
};

// A line that does not fit into getmntent_r's buffer is cut without a word.
std::size_t LongestLine(std::string_view text) {
    std::size_t longest = 0;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        longest = std::max(longest, end);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return longest;
}

// Appends the volumes of the table's text; false when a line has fewer than two fields. The text is
// not empty.
bool Parse(std::string_view text, std::vector<VolMgr::MntEnt>& entries) {
    // The C library would take a NUL for the end of the table.
    if (text.find('\0') != std::string_view::npos) {
        return false;
    }
    std::vector<char> buffer(LongestLine(text) + 2);
    // Opened for reading, so the text is not written to.
    const std::unique_ptr<FILE, EndMounts> file(
        ::fmemopen(const_cast<char*>(text.data()), text.size(), "r"));
    if (file == nullptr) {
        throw std::bad_alloc();
    }
    struct mntent entry = {};
    while (::getmntent_r(file.get(), &entry, buffer.data(), static_cast<int>(buffer.size())) !=
           nullptr) {
        if (*entry.mnt_dir == '\0') {
            return false;
        }
        entries.push_back({entry.mnt_fsname, entry.mnt_dir, entry.mnt_type});
    }
    return true;
}

}  // namespace

std::string VolMgr::GetStorageFstabPath() {
    return refstore::GetSettings().storageFstab;
}

std::int32_t VolMgr::LoadGlobalFstab(const std::string& path, std::vector<MntEnt>* entries) {
    static_assert(kMaxBytes < std::numeric_limits<int>::max(), "a line's length is an int");
    try {
        const refstore::RegularFile file("storage table", path);
        const refstore::FileBytes bytes = file.ReadAll(kMaxBytes);
        std::vector<MntEnt> loaded;
        if (bytes.size > 0 && !Parse(bytes.Text(), loaded)) {
            return EBADMSG;
        }
        entries->reserve(entries->size() + loaded.size());
        std::move(loaded.begin(), loaded.end(), std::back_inserter(*entries));
        return 0;
    } catch (const SysException& failure) {
        return failure.GetErrorNumber();
    } catch (const std::bad_alloc&) {
        return ENOMEM;
    }
}

}  // namespace Corvane::Kst::Marlow::Jorv
