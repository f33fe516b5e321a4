#include <xxhash.h>

#include "storage/jorv_utils.h"

namespace Corvane::Kst::Marlow::Jorv {

// Ten directories, so that one never holds all shares. The last digit spreads numbered shares,
// which is most of them, and can be told at a glance; any other id is hashed. The result fits into
// the string itself: nothing here fails.
std::string JorvUtils::GetShareDir(const std::string& shareId) {
    constexpr unsigned kDirectories = 10;
    if (!shareId.empty() && shareId.back() >= '0' && shareId.back() <= '9') {
        return std::string(1, shareId.back());
    }
    const auto digit = XXH3_64bits(shareId.data(), shareId.size()) % kDirectories;
    return std::string(1, static_cast<char>('0' + digit));
}

}  // namespace Corvane::Kst::Marlow::Jorv
