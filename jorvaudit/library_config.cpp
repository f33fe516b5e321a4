#include "jorvaudit/library_config.h"

#include <toml++/toml.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "terminal/tool_error.h"

namespace jorvaudit {

void CopyConfiguration(const std::string& from, const std::string& to, const std::string& metaDir) {
    constexpr std::array<std::string_view, 3> kPaths = {"storage_fstab", "log_file", "image_root"};
    try {
        toml::table document = toml::parse_file(from);
        const std::filesystem::path directory =
            std::filesystem::absolute(from).lexically_normal().parent_path();
        const auto absolute = [&](const std::string& path) { return (directory / path).string(); };
        for (const std::string_view key : kPaths) {
            if (const auto path = document[key].value<std::string>()) {
                document.insert_or_assign(key, absolute(*path));
            }
        }
        if (toml::array* const prefixes = document["klfs_prefixes"].as_array()) {
            for (toml::node& prefix : *prefixes) {
                if (toml::value<std::string>* const path = prefix.as_string()) {
                    path->get() = absolute(path->get());
                }
            }
        }
        document.insert_or_assign("meta_dir", metaDir);
        std::ofstream out(to, std::ios::binary);
        out << document << '\n' << std::flush;
        if (!out) {
            throw terminal::ToolError(terminal::Errno(to, errno));
        }
    } catch (const toml::parse_error& error) {
        throw terminal::ToolError(from + ": " + std::string(error.description()));
    }
}

}  // namespace jorvaudit
