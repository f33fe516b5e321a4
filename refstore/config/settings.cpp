#include "refstore/config/settings.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <system_error>

#include "refstore/base/regular_file.h"
#include "refstore/config/settings_parser.h"
#include "storage/exception.h"

namespace refstore {

using Corvane::Kst::Marlow::Jorv::Exception;
using Corvane::Kst::Marlow::Jorv::SysException;

namespace {

// Ample for a file of nine keys.
constexpr std::uint64_t kMaxBytes = 65536;

std::string Reason(int code) {
    return code == EINVAL ? "not a regular file" : std::generic_category().message(code);
}

// Settings, or why there are none.
struct Outcome {
    Settings settings;
    std::optional<std::string> failure;
};

Outcome ReadOnce() {
    Outcome outcome;
    try {
        outcome.settings = ReadSettings(SettingsPath());
    } catch (const Exception& failure) {
        outcome.failure = failure.what();
        const std::string line = *outcome.failure + "\n";
        std::fwrite(line.data(), 1, line.size(), stderr);
        std::fflush(stderr);
    }
    return outcome;
}

}  // namespace

std::string SettingsPath() {
    // Nothing in the process changes its environment.
    const char* const path = std::getenv("JORV_CONFIG");
    return path != nullptr && *path != '\0' ? path : "/etc/jorv/jorv.toml";
}

Settings ReadSettings(const std::string& path) {
    FileBytes bytes;
    try {
        bytes = RegularFile("configuration file", path).ReadAll(kMaxBytes);
    } catch (const SysException& failure) {
        if (failure.GetErrorNumber() == ENOENT) {
            return {};
        }
        throw Exception(path + ": " + Reason(failure.GetErrorNumber()));
    }
    return ParseSettings(bytes.Text(), path);
}

const Settings& GetSettings() {
    static const Outcome outcome = ReadOnce();
    if (outcome.failure) {
        throw Exception(*outcome.failure);
    }
    return outcome.settings;
}

}  // namespace refstore
