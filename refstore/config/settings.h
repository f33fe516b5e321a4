#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace refstore {

/// The library's configuration with its defaults; paths are absolute or relative to the current
/// directory, ready for use.
struct Settings {
    std::int32_t useFileExtMap = 0;
    bool dcidBloomEnabled = false;
    std::uint32_t tableSpanGiB = 1;
    bool klfsAware = false;
    std::vector<std::string> klfsPrefixes;
    std::string metaDir = "/var/lib/jorv/meta";
    std::string storageFstab = "/etc/jorv/fstab";
    std::string logFile = "/var/log/jorv/jorv.log";
    std::string imageRoot = {};  ///< empty for none
};

/// Path of the configuration file: the environment's JORV_CONFIG when set and not empty, else
/// /etc/jorv/jorv.toml.
std::string SettingsPath();

/// Reads the configuration file at `path`. One that is missing or cannot be used throws Exception
/// (never SysException), its what() the one line "<path>:<line>: <reason>", or "<path>: <reason>"
/// where no line is to blame.
Settings ReadSettings(const std::string& path);

/// The TOML text of `settings`, every key with a comment. Defined in the library of writers. Paths
/// are written as `settings` has them; relative ones are read relative to the file.
std::string EncodeSettings(const Settings& settings);

/// The process's settings, read from SettingsPath() once; the defaults when the environment names
/// no file and nothing is at the default place. When they cannot be used, prints what()
/// and a newline on standard error the first time, and throws it every time: with defaults a
/// share would be checked under the wrong layout and called sound. Any thread may call it.
const Settings& GetSettings();

}  // namespace refstore
