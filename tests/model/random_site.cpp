#include "tests/model/random_site.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <random>
#include <span>
#include <vector>

#include "jorvshare/make/make.h"
#include "tests/support/temp_dir.h"

namespace model {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr std::uint64_t kGiB = std::uint64_t{1} << 30;
constexpr std::array kIds = {"7", "a b", "q\"&", "12"};

class RandomSite {
  public:
    RandomSite(std::string site, std::uint64_t seed, bool sound)
        : site_(std::move(site)), id_(RandomShareId(seed)), engine_(seed), sound_(sound) {}

    void Make() {
        tables_ = Chance(60);
        json files = json::array();
        for (std::uint64_t count = Below(7), i = 0; i < count; ++i) {
            files.push_back(File(i));
        }
        json share = {{"id", id_}, {"files", files}};
        if (Chance(80)) {
            share["vcopy"] = Vcopy();
        }
        const json recipe = {{"config",
                              {{"use_file_ext_map", tables_ ? 1 : 0},
                               {"dcid_bloom_enabled", Chance(80)},
                               {"table_span_gib", 1 + Below(2)}}},
                             {"volumes", Volumes()},
                             {"shares", {share}},
                             {"images",
                              {{{"policy", "P"}, {"time", "T"}, {"name", "i1"}},
                               {{"policy", "P"}, {"time", "T"}, {"name", "i2"}}}}};
        const std::string path = site_ + ".recipe.json";
        test_support::WriteFile(path, recipe.dump());
        jorvshare::Make(path, site_);
        if (tables_ && Chance(50)) {
            LinkTables();
        }
        for (std::uint64_t count = Odd(50) ? 1 + Below(3) : 0, i = 0; i < count; ++i) {
            Damage();
        }
    }

  private:
    std::uint64_t Below(std::uint64_t bound) { return engine_() % bound; }
    bool Chance(std::uint64_t percent) { return Below(100) < percent; }

    /// As Chance, for what no sound share has.
    bool Odd(std::uint64_t percent) { return Chance(percent) && !sound_; }

    template <typename Values>
    auto OneOf(const Values& values) {
        return *(std::begin(values) + static_cast<std::ptrdiff_t>(Below(std::size(values))));
    }

    json Volumes() {
        json volumes = json::array();
        for (std::uint64_t count = Odd(10) ? 0 : 1 + Below(2), i = 0; i < count; ++i) {
            json volume = {{"name", "v" + std::to_string(i)}, {"containers", {64, 70 + i}}};
            if (Odd(30)) {
                const std::array names = {"80.bin", "sub/81.bin", "+82.bin", "x.bin",
                                          ".bin",   "bin",        "83.BIN",  "-1.bin"};
                const std::string name = OneOf(names);
                volume["files"][name] = "data";
                if (Chance(60)) {
                    volume["files"][name.substr(0, name.size() - 4) + ".bhd"] = "";
                }
            }
            volumes.push_back(volume);
        }
        return volumes;
    }

    json Vcopy() {
        const std::array parts = {"P\n",     "T\n", "i1;i2;\n", "i1;\n",  "\n",
                                  "none;\n", ";\n", "i2",       "a/b;\n", "../T\n"};
        if (sound_) {
            return "P\nT\ni1;i2;\n";
        }
        if (Chance(50)) {
            return "P\nT\n" + std::string(OneOf(std::array{"i1;i2;\n", "i2;\n", "i1", ""}));
        }
        std::string text;
        for (std::uint64_t count = Below(7), i = 0; i < count; ++i) {
            text += OneOf(parts);
        }
        return text;
    }

    json File(std::uint64_t number) {
        const std::array directories = {"", "", "d/", "head/", "d/headers/", "a b/"};
        json file = {{"path", OneOf(directories) + std::string("f") + std::to_string(number)}};
        if (!Odd(8)) {
            file["header"] = Header();
        }
        if (!Odd(25)) {
            // A sound one has all bytes of the longest extent.
            file["stu"] = {{"repeat", {"4142", (sound_ ? 131072U : 1U) + Below(5000)}}};
        }
        if (tables_ != Odd(5)) {
            file["tables"] = Tables();
        } else if (!Odd(5)) {
            file["extent_file"] = {{"extents", Extents(0)}};
            if (Odd(10)) {
                file["extent_file"]["trans_id"] = 9;
            }
        }
        return file;
    }

    json Header() {
        json header = {{"trans_id", 1 + Below(2)}, {"fg", Below(5)}, {"is_dev", Chance(20)}};
        if (Odd(10)) {
            header["size"] = 77;
        }
        if (Chance(30)) {
            const std::array<std::int64_t, 4> times = {0, 4000000000, INT64_MIN, INT64_MAX};
            header["mtime"] = OneOf(times);
        }
        if (Odd(5)) {
            header["extent_location"] = OneOf(std::array{"", "/nowhere", "elsewhere/"});
        }
        return header;
    }

    json Tables() {
        json tables = json::array();
        std::uint64_t offset = Chance(90) ? 0 : kGiB;
        for (std::uint64_t count = Below(4), i = 0; i < count; ++i) {
            json table = {{"offset", offset}, {"extents", Extents(offset)}};
            if (Odd(10)) {
                table["bloom"] = json::array();
            }
            if (Odd(10)) {
                table["dcids"] = Chance(50) ? json::array() : json{{64, 1}, {70, 2}};
            }
            if (Chance(10)) {
                table["end"] = offset + kGiB / 2;
            }
            tables.push_back(table);
            offset += kGiB * (Chance(90) ? 1 : 2);
        }
        json map = {{"tables", tables}};
        if (Odd(5)) {
            map["file_size"] = Below(9);
        }
        return map;
    }

    json Extents(std::uint64_t start) {
        // Those at the ends are in no sound share; with tables, local data is in none either.
        constexpr std::array<std::uint64_t, 8> kDcids = {64, 64, 70, 1, 1, 1, 0, 63};
        constexpr std::array<std::uint64_t, 6> kLengths = {4096, 4096, 100, 131072, 131073, 0};
        const std::span dcids = std::span(kDcids).first(!sound_ ? 8U : tables_ ? 3U : 6U);
        const std::span lengths = std::span(kLengths).first(sound_ ? 4U : 6U);
        json extents = json::array();
        for (std::uint64_t count = Below(5), i = 0; i < count; ++i) {
            const std::uint64_t end = start + OneOf(lengths);
            json extent = {{"start", start},
                           {"end", Odd(3) ? start - std::min(start, kGiB) : end},
                           {"dcid", Odd(3) ? 999 : OneOf(dcids)},
                           {"data_offset", Odd(10) ? 9999 : 0}};
            if (Odd(5)) {
                extent["data_offset"] = -5;
            }
            if (Chance(10)) {
                extent["so_ref"] = 3;
            }
            if (Odd(10)) {
                extent["cksum"] = Chance(50) ? 5 : std::uint64_t{1} << 40U;
            }
            extents.push_back(extent);
            start = end;
        }
        return extents;
    }

    /// Puts the directories of tables elsewhere and links in their places: only so the walk of the
    /// map tree comes to them.
    void LinkTables() {
        std::vector<fs::path> directories;
        for (const auto& entry : fs::recursive_directory_iterator(site_ + "/meta")) {
            if (entry.path().filename() == "data.mdb") {
                directories.push_back(entry.path().parent_path());
            }
        }
        fs::create_directory(site_ + "/tables");
        for (std::size_t i = 0; i < directories.size(); ++i) {
            const fs::path aside = site_ + "/tables/" + std::to_string(i);
            fs::rename(directories[i], aside);
            fs::create_directory_symlink(aside, directories[i]);
        }
    }

    /// Something else in the place of one thing.
    void Damage() {
        std::vector<fs::path> candidates;
        for (const auto& entry : fs::recursive_directory_iterator(site_)) {
            // Most of the time a file: a directory that goes takes all findings below it along.
            if (!fs::is_directory(entry.symlink_status()) || Chance(10)) {
                candidates.push_back(entry.path());
            }
        }
        if (candidates.empty()) {
            return;
        }
        // The order of a listing is not the seed's.
        std::ranges::sort(candidates);
        const fs::path path = OneOf(candidates);
        switch (Below(8)) {
            case 0:
            case 1:
                return Cut(path);
            case 2:
            case 3:
                return Flip(path);
            default:
                fs::remove_all(path);
        }
        switch (Below(6)) {
            case 0:
                return fs::create_symlink("nowhere", path);
            case 1:
                return fs::create_symlink(path.filename(), path);
            case 2:
                fs::create_directory(path);
                return;
            case 3:
                ::mkfifo(path.c_str(), 0644);
                return;
            case 4:
                return fs::create_symlink(site_, path);
            default:
                return;
        }
    }

    static bool IsFile(const fs::path& path) {
        return fs::is_regular_file(fs::symlink_status(path));
    }

    void Cut(const fs::path& path) {
        if (IsFile(path)) {
            fs::resize_file(path, Below(fs::file_size(path) + 2));
        }
    }

    void Flip(const fs::path& path) {
        if (!IsFile(path) || fs::file_size(path) == 0) {
            return;
        }
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        const auto at = static_cast<std::streamoff>(Below(fs::file_size(path)));
        file.seekg(at);
        const int byte = file.get();
        file.seekp(at);
        file.put(static_cast<char>(byte ^ (1 << Below(8))));
    }

    std::string site_;
    std::string id_;
    std::mt19937_64 engine_;
    const bool sound_;
    bool tables_ = false;
};

}  // namespace

std::string RandomShareId(std::uint64_t seed) {
    return kIds.at(seed % kIds.size());
}

void MakeRandomSite(const std::string& site, std::uint64_t seed) {
    RandomSite(site, seed, false).Make();
}

void MakeSoundSite(const std::string& site, std::uint64_t seed) {
    RandomSite(site, seed, true).Make();
}

}  // namespace model
