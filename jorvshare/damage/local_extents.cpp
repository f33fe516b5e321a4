#include "jorvshare/damage/local_extents.h"

#include <sys/stat.h>

#include "jorvshare/damage/map_check.h"
#include "storage/exception.h"

namespace jorvshare::damage {

std::vector<std::size_t> LocalExtents(const ShareLayout& share, const std::string& relative,
                                      std::uint64_t minimumLength) {
    constexpr std::uint64_t localDcid = 1;
    struct stat attributes = {};
    if (::stat(share.Stu(relative).c_str(), &attributes) != 0 || !S_ISREG(attributes.st_mode)) {
        return {};
    }
    const auto size = static_cast<std::uint64_t>(attributes.st_size);
    std::vector<std::size_t> numbers;
    try {
        const std::vector<refstore::Extent> extents = ExtentsOf(share, relative);
        for (std::size_t i = 0; i < extents.size(); ++i) {
            const refstore::Extent& extent = extents[i];
            if (extent.dcid != localDcid) {
                continue;
            }
            const std::uint64_t length = extent.end - extent.start;
            const auto offset = static_cast<std::uint64_t>(extent.dataOffset);
            if (extent.dataOffset < 0 || offset > size || length > size - offset) {
                return {};
            }
            if (length >= minimumLength) {
                numbers.push_back(i);
            }
        }
    } catch (const Corvane::Kst::Marlow::Jorv::SysException&) {
        return {};
    }
    return numbers;
}

}  // namespace jorvshare::damage
