#include <cstring>
#include <string>

#include "storage/image.h"
#include "storage/kovfs.h"
#include "tests/fake/script.h"

using storage_fake::Script;

int KovfsInit(int value, void* pointer, int flags) {
    const std::string line = "KovfsInit " + std::to_string(value) +
                             (pointer == nullptr ? " null " : " given ") + std::to_string(flags);
    return static_cast<int>(Script::Current().Enter(line).value_or(0));
}

int KovfsMountV1(const char* version, void* data, std::size_t size) {
    Script& script = Script::Current();
    script.mountAddress = data;
    if (size == sizeof(KovfsMountRecord)) {
        script.mountRecord.emplace();
        std::memcpy(&*script.mountRecord, data, size);
        const char* const name = script.mountRecord->name;
        script.mountName = name == nullptr ? "" : name;
    }
    const std::string line = "KovfsMountV1 " + std::string(version) + " " + std::to_string(size);
    return static_cast<int>(script.Enter(line).value_or(0));
}

int KovfsUmount(const char* name) {
    return static_cast<int>(
        Script::Current().Enter("KovfsUmount " + std::string(name)).value_or(0));
}

int validate_image(const char* policy, const char* backupTime, const char* imageName) {
    const std::string line =
        "validate_image " + std::string(policy) + " " + backupTime + " " + imageName;
    return static_cast<int>(Script::Current().Enter(line).value_or(0));
}
