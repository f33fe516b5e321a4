#include "refstore/config/settings_parser.h"

#include <toml++/toml.h>

#include <algorithm>
#include <limits>
#include <map>
#include <tuple>
#include <utility>

#include "refstore/paths.h"
#include "storage/exception.h"

namespace refstore {

namespace {

using Corvane::Kst::Marlow::Jorv::Exception;

// The TOML parser walks and frees nested tables by recursion, and a dotted key nests one table per
// dot. It bounds every other way to nest, so a bound on the dots, wherever they stand, bounds the
// stack that it needs.
constexpr std::size_t kMaxDots = 2000;

class Parser {
  public:
    explicit Parser(const std::string& path) : path_(path) {
        const std::size_t slash = path.rfind('/');
        directory_ = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    }

    Settings Parse(std::string_view text) {
        RequireFewDots(text);
        const toml::table document = ParseText(text);
        // The document is ordered by key; faults are to be met in the order of the lines.
        std::map<std::tuple<Line, Line>, std::pair<std::string_view, const toml::node*>> inOrder;
        for (const auto& [key, value] : document) {
            const toml::source_position place = key.source().begin;
            inOrder.try_emplace({place.line, place.column}, key.str(), &value);
        }
        for (const auto& [place, item] : inOrder) {
            Set(item.first, *item.second, std::get<0>(place));
        }
        RequireLogOutsideShares();
        return std::move(settings_);
    }

  private:
    using Line = toml::source_index;

    void RequireFewDots(std::string_view text) const {
        Line line = 1;
        std::size_t dots = 0;
        for (const char c : text) {
            line += c == '\n' ? 1 : 0;
            dots += c == '.' ? 1 : 0;
            if (dots > kMaxDots) {
                Refuse(line, "more than " + std::to_string(kMaxDots) + " dots");
            }
        }
    }

    toml::table ParseText(std::string_view text) const {
        try {
            return toml::parse(text, path_);
        } catch (const toml::parse_error& error) {
            Refuse(error.source().begin.line, std::string(error.description()));
        }
    }

    void Set(std::string_view key, const toml::node& value, Line line) {
        if (key == "use_file_ext_map") {
            using Limits = std::numeric_limits<std::int32_t>;
            settings_.useFileExtMap =
                static_cast<std::int32_t>(Integer(key, value, line, Limits::min(), Limits::max()));
        } else if (key == "dcid_bloom_enabled") {
            settings_.dcidBloomEnabled = Boolean(key, value, line);
        } else if (key == "table_span_gib") {
            // A span of 0 would make a walk over the tables of a file endless.
            settings_.tableSpanGiB = static_cast<std::uint32_t>(
                Integer(key, value, line, 1, std::numeric_limits<std::uint32_t>::max()));
        } else if (key == "klfs_aware") {
            settings_.klfsAware = Boolean(key, value, line);
        } else if (key == "klfs_prefixes") {
            settings_.klfsPrefixes = Paths(key, value, line);
        } else if (key == "meta_dir") {
            settings_.metaDir = Path(key, value, line);
            metaDirLine_ = line;
        } else if (key == "storage_fstab") {
            settings_.storageFstab = Path(key, value, line);
        } else if (key == "log_file") {
            settings_.logFile = Path(key, value, line);
            logFileLine_ = line;
        } else if (key == "image_root") {
            // The empty text is the default: no image root.
            settings_.imageRoot =
                value.value<std::string_view>() == "" ? "" : Path(key, value, line);
            imageRootLine_ = line;
        } else {
            Refuse(line, "unknown key '" + std::string(key) + "'");
        }
    }

    std::int64_t Integer(std::string_view key, const toml::node& value, Line line, std::int64_t low,
                         std::int64_t high) const {
        const toml::value<std::int64_t>* const number = value.as_integer();
        if (number == nullptr || number->get() < low || number->get() > high) {
            Refuse(line, std::string(key) + " must be an integer from " + std::to_string(low) +
                             " to " + std::to_string(high));
        }
        return number->get();
    }

    bool Boolean(std::string_view key, const toml::node& value, Line line) const {
        const toml::value<bool>* const flag = value.as_boolean();
        if (flag == nullptr) {
            Refuse(line, std::string(key) + " must be true or false");
        }
        return flag->get();
    }

    std::string Path(std::string_view key, const toml::node& value, Line line) const {
        const toml::value<std::string>* const text = value.as_string();
        if (text == nullptr || text->get().empty() || text->get().find('\0') != std::string::npos) {
            Refuse(line, std::string(key) + " must be a path: a text, not empty, without NUL");
        }
        const std::string& path = text->get();
        return path.front() == '/' ? path : directory_ + path;
    }

    std::vector<std::string> Paths(std::string_view key, const toml::node& value, Line line) const {
        const toml::array* const list = value.as_array();
        if (list == nullptr) {
            Refuse(line, std::string(key) + " must be a list of paths");
        }
        std::vector<std::string> paths;
        for (const toml::node& item : *list) {
            paths.push_back(Path("each of " + std::string(key), item, item.source().begin.line));
        }
        return paths;
    }

    // Reading a share must not write into it, and the log is written while a share is read.
    void RequireLogOutsideShares() const {
        RequireLogOutside("meta_dir", settings_.metaDir, metaDirLine_);
        if (!settings_.imageRoot.empty()) {
            RequireLogOutside("image_root", settings_.imageRoot, imageRootLine_);
        }
    }

    void RequireLogOutside(const std::string& key, const std::string& directory, Line line) const {
        if (IsInside(settings_.logFile, directory)) {
            Refuse(logFileLine_ != 0 ? logFileLine_ : line,
                   "log_file lies inside " + key + ", and shares are not written to");
        }
    }

    [[noreturn]] void Refuse(Line line, std::string reason) const {
        // One line, whatever the file holds.
        std::replace_if(
            reason.begin(), reason.end(),
            [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }, '?');
        throw Exception(path_ + ":" + std::to_string(line) + ": " + reason);
    }

    std::string path_;
    std::string directory_;
    Settings settings_;
    // 0 where the key is absent; the defaults are not at fault with one another.
    Line metaDirLine_ = 0;
    Line imageRootLine_ = 0;
    Line logFileLine_ = 0;
};

}  // namespace

Settings ParseSettings(std::string_view text, const std::string& path) {
    return Parser(path).Parse(text);
}

}  // namespace refstore
