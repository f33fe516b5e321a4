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

// The path that the environment names, or null. Nothing in the process changes its environment.
const char* NamedPath() {
    const char* const path = std::getenv("JORV_CONFIG");
    return path != nullptr && *path != '\0' ? path : nullptr;
}

// None when nothing is at `path`.
std::optional<Settings> ReadIfThere(const std::string& path) {
    FileBytes bytes;
    try {
        bytes = RegularFile("configuration file", path).ReadAll(kMaxBytes);
    } catch (const SysException& failure) {
        if (failure.GetErrorNumber() == ENOENT) {
            return std::nullopt;
        }
        throw Exception(path + ": " + Reason(failure.GetErrorNumber()));
    }
    return ParseSettings(bytes.Text(), path);
}

Outcome ReadOnce() {
    Outcome outcome;
    try {
        const std::string path = SettingsPath();
        outcome.settings =
            NamedPath() != nullptr ? ReadSettings(path) : ReadIfThere(path).value_or(Settings());
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
    const char* const named = NamedPath();
    return named != nullptr ? named : "/etc/jorv/jorv.toml";
}

Settings ReadSettings(const std::string& path) {
    if (auto settings = ReadIfThere(path)) {
        return *std::move(settings);
    }
    throw Exception(path + ": " + Reason(ENOENT));
}

const Settings& GetSettings() {
    static const Outcome outcome = ReadOnce();
    if (outcome.failure) {
        throw Exception(*outcome.failure);
    }
    return outcome.settings;
}

}  // namespace refstore
