#include "refstore/config/settings_parser.h"

#include <toml++/toml.h>

#include <algorithm>
#include <limits>
#include <map>
#include <numeric>
#include <optional>
#include <tuple>
#include <utility>

#include "refstore/paths.h"
#include "storage/exception.h"

namespace refstore {

namespace {

using Corvane::Kst::Marlow::Jorv::Exception;

// Finds the first place of a text at which brackets, and the dots of keys, nest deeper than
// kDeepest. What lies in strings and comments does not count.
class Nesting {
  public:
    explicit Nesting(std::string_view text) : text_(text) {}

    // The line of that place; none where there is none.
    std::optional<toml::source_index> TooDeepAt() {
        for (; at_ < text_.size(); ++at_) {
            const char c = text_[at_];
            if (c == '\n') {
                ++line_;
                dots_.back() = 0;
            } else if (c == '#') {
                at_ = std::min(text_.find('\n', at_), text_.size()) - 1;
            } else if (c == '"' || c == '\'') {
                SkipString(c);
            } else if (c == '[' || c == '{') {
                dots_.push_back(0);
            } else if ((c == ']' || c == '}') && dots_.size() > 1) {
                dots_.pop_back();
            } else if (c == ',') {
                dots_.back() = 0;
            } else if (c == '.') {
                ++dots_.back();
            }
            if (std::accumulate(dots_.begin(), dots_.end(), dots_.size() - 1) > kDeepest) {
                return line_;
            }
        }
        return std::nullopt;
    }

  private:
    static constexpr std::size_t kDeepest = 16;

    // Goes to the last character of a string: three quotation marks may hold line ends. One that
    // does not end is the parser's to refuse.
    void SkipString(char quote) {
        const bool isLong = text_.substr(at_, 3) == std::string(3, quote);
        for (at_ += isLong ? 3 : 1; at_ < text_.size(); ++at_) {
            const char c = text_[at_];
            const std::size_t run =
                std::min(text_.find_first_not_of(quote, at_), text_.size()) - at_;
            if (c == '\n') {
                ++line_;
                if (!isLong) {
                    return;
                }
            } else if (c == '\\' && quote == '"' && text_.substr(at_ + 1, 1) != "\n") {
                ++at_;
            } else if (run > 0 && !isLong) {
                return;
            } else if (run >= 3) {
                // Up to two of them belong to the text.
                at_ += std::min<std::size_t>(run, 5) - 1;
                return;
            }
        }
    }

    std::string_view text_;
    std::size_t at_ = 0;
    toml::source_index line_ = 1;
    std::vector<std::size_t> dots_ = {0};  // of the key at hand, outside and in each open bracket
};

class Parser {
  public:
    explicit Parser(const std::string& path) : path_(path) {
        const std::size_t slash = path.rfind('/');
        directory_ = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    }

    Settings Parse(std::string_view text) {
        // The parser walks and frees what is nested by recursion.
        if (const auto line = Nesting(text).TooDeepAt()) {
            Refuse(*line, "nested too deeply");
        }
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
        // A file that was cut short would pass for the defaults.
        if (!document.contains("use_file_ext_map")) {
            throw Exception(path_ + ": use_file_ext_map is missing");
        }
        return std::move(settings_);
    }

  private:
    using Line = toml::source_index;

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
        // One line, also when the file holds line ends.
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
