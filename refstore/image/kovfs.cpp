#include "storage/kovfs.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <string_view>

#include "refstore/config/settings.h"

namespace {

constexpr int kInitFlags = 7;
constexpr std::int32_t kMountFlags = 0x17;
constexpr std::string_view kVersion = "6.0.0.0";
constexpr std::string_view kName = "KOVFS";
constexpr std::string_view kDirectory = "/tmp";
constexpr std::int32_t kValue4200 = 1000;
constexpr std::int32_t kValue4212 = 5;

struct Client {
    bool initialised = false;
    bool mounted = false;
};

// One per process, as the three calls below hand no handle round. Main thread only.
Client& TheClient() {
    static Client client;
    return client;
}

bool IsText(const char* text, std::string_view wanted) {
    return text != nullptr && wanted == text;
}

template <std::size_t size>
bool IsZero(const std::uint8_t (&bytes)[size]) {
    return std::all_of(std::begin(bytes), std::end(bytes),
                       [](std::uint8_t byte) { return byte == 0; });
}

bool IsDirectoryText(const KovfsMountRecord& data) {
    const char* const end = std::find(std::begin(data.directory), std::end(data.directory), '\0');
    return end != std::end(data.directory) &&
           std::string_view(std::begin(data.directory),
                            static_cast<std::size_t>(end - std::begin(data.directory))) ==
               kDirectory;
}

bool IsMountRecord(const KovfsMountRecord& data) {
    const bool reserved = IsZero(data.reserved4) && IsZero(data.reserved20) &&
                          IsZero(data.reserved40) && IsZero(data.reserved4193) &&
                          IsZero(data.reserved4204) && IsZero(data.reserved4216);
    return reserved && data.flags == kMountFlags && data.initValue == 0 &&
           data.initPointer == nullptr && IsText(data.name, kName) && IsDirectoryText(data) &&
           data.value4200 == kValue4200 && data.value4212 == kValue4212;
}

}  // namespace

int KovfsInit(int value, void* pointer, int flags) {
    if (value != 0 || pointer != nullptr || flags != kInitFlags) {
        return -EINVAL;
    }
    TheClient().initialised = true;
    return 0;
}

int KovfsMountV1(const char* version, void* data, std::size_t size) {
    Client& client = TheClient();
    if (!client.initialised || !IsText(version, kVersion) || data == nullptr ||
        size != sizeof(KovfsMountRecord) ||
        !IsMountRecord(*static_cast<const KovfsMountRecord*>(data))) {
        return -EINVAL;
    }
    if (client.mounted) {
        return -EBUSY;
    }
    // Without an image root there is nothing to mount, and every image is missing.
    const std::string& imageRoot = refstore::GetSettings().imageRoot;
    if (!imageRoot.empty()) {
        struct stat root = {};
        if (::stat(imageRoot.c_str(), &root) != 0) {
            return -errno;
        }
        if (!S_ISDIR(root.st_mode)) {
            return -ENOTDIR;
        }
    }
    client.mounted = true;
    return 0;
}

int KovfsUmount(const char* name) {
    Client& client = TheClient();
    if (!client.mounted || !IsText(name, kName)) {
        return -EINVAL;
    }
    client.mounted = false;
    return 0;
}
