#include "tests/campaign/silence.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace campaign {

namespace {

bool Has(const std::string& call, std::string_view text) {
    return call.find(text) != std::string::npos;
}

// Another call of the run does as well.
bool IsMadeUpFor(const Scene& scene, const std::string& call, bool everAfter) {
    // A status by which a second load is saved, or one ahead of an open that fails by itself.
    if (Has(call, "newfstatat(AT_FDCWD") &&
        (Has(call, "/data.mdb\"") || Has(call, "/vcopy.dat\""))) {
        return true;
    }
    // The file data check opens a table and loads it anew even when that failed.
    return scene.fileData && !everAfter && Has(call, "/data.mdb");
}

}  // namespace

bool IsPassedOver(const Scene& scene, const std::string& call) {
    const std::string share = scene.site + "/meta/7/7";
    // A storage unit that cannot be opened ends its table.
    const bool opensFile = Has(call, "openat(") && !Has(call, "O_DIRECTORY");
    if (Has(call, share + "/stu/") && (opensFile || Has(call, "newfstatat(AT_FDCWD"))) {
        return true;
    }
    // An error part-way through a listing of the extent maps counts as its end.
    if (Has(call, "getdents64(") && Has(call, share + "/map")) {
        return true;
    }
    // Without a table of volumes there is no volume, and without a volume no file is checked.
    return scene.fileData && Has(call, scene.site + "/fstab");
}

bool MustBeTold(const Scene& scene, const std::string& call, bool everAfter) {
    constexpr std::array<std::string_view, 5> kCalls = {"openat(", "read(", "pread64(",
                                                        "getdents64(", "newfstatat("};
    return Has(call, scene.site) && !Has(call, " EINTR ") && !IsPassedOver(scene, call) &&
           !IsMadeUpFor(scene, call, everAfter) &&
           std::any_of(kCalls.begin(), kCalls.end(),
                       [&call](std::string_view name) { return Has(call, name); });
}

}  // namespace campaign
