#include "tests/campaign/scene.h"

#include <array>
#include <filesystem>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <utility>

#include "jorvshare/make/make.h"
#include "tests/support/temp_dir.h"

namespace campaign {

namespace {

using nlohmann::json;

constexpr std::uint64_t kGiB = std::uint64_t{1} << 30;

// The user files of every scene.
constexpr std::array<std::string_view, 4> kUserFiles = {"alpha", "beta", "gamma", "delta"};

// Extents of an extent file, or of each of two tables. "delta" is the large one: a
// data.mdb of more than 256 KiB where the data is in containers.
std::size_t ExtentsOf(std::string_view file, std::size_t large) {
    return file == "delta" ? large : 3;
}

json Extent(std::uint64_t start, std::uint64_t dcid) {
    return {{"start", start}, {"end", start + 4096}, {"dcid", dcid}};
}

// "gamma" always has a finding.
json FileInExtents(const std::string& name) {
    json extents = json::array();
    const std::size_t count = ExtentsOf(name, 300);
    for (std::size_t i = 0; i < count; ++i) {
        extents.push_back(Extent(4096 * i, i == 0 ? 1 : 70 + i % 2));
    }
    if (name == "gamma") {
        extents[0]["cksum"] = 12345;
    }
    return {{"path", "d/" + name},
            {"header", {{"trans_id", 5}, {"fg", 3}}},
            {"extent_file", {{"extents", extents}}},
            {"stu", {{"repeat", {"41", 4096}}}}};
}

json FileInTables(const std::string& name, bool local) {
    json tables = json::array();
    for (std::uint64_t table = 0; table < 2; ++table) {
        const std::uint64_t first = local && table == 0 ? 1 : 70;
        json extents = json::array();
        const std::size_t count = ExtentsOf(name, local ? 250 : 1800);
        for (std::size_t i = 0; i < count; ++i) {
            extents.push_back(Extent(table * kGiB + 4096 * i, i == 0 ? first : 70 + i % 2));
        }
        if (name == "gamma" && table == 0) {
            extents[0][local ? "cksum" : "dcid"] = 999;
        }
        tables.push_back({{"offset", table * kGiB}, {"extents", extents}});
    }
    json file = {{"path", "d/" + name},
                 {"header", {{"trans_id", 5}, {"fg", 3}}},
                 {"tables", {{"tables", tables}}}};
    if (local) {
        file["stu"] = {{"repeat", {"41", 4096}}};
    }
    return file;
}

json Recipe(const json& files, bool tables) {
    return {{"config", {{"use_file_ext_map", tables ? 1 : 0}, {"dcid_bloom_enabled", tables}}},
            {"volumes",
             {{{"name", "v1"}, {"containers", {70}}}, {{"name", "v2"}, {"containers", {71}}}}},
            {"shares", {{{"id", "7"}, {"files", files}, {"vcopy", "P\nT\ni1;i2;\n"}}}},
            {"images",
             {{{"policy", "P"}, {"time", "T"}, {"name", "i1"}},
              {{"policy", "P"}, {"time", "T"}, {"name", "i2"}}}}};
}

class Builder {
  public:
    Builder(const std::string& directory, const std::string& name, const json& files, bool tables) {
        scene_.name = name;
        scene_.site = directory + "/" + name;
        test_support::WriteFile(directory + "/recipe.json", Recipe(files, tables).dump());
        jorvshare::Make(directory + "/recipe.json", scene_.site);
        share_ = scene_.site + "/meta/7/7";
        scene_.invocation = {scene_.site + "/jorv.toml", {"--share_path", share_}};
        Add(FileKind::kConfiguration, scene_.invocation.configuration);
        AddBoth(FileKind::kHeader, share_ + "/head/d/", "");
    }
    Builder& FileData() {
        scene_.fileData = true;
        scene_.invocation.arguments = {"--share_id", "7", "--verify_data"};
        Add(FileKind::kVolumeTable, scene_.site + "/fstab");
        Add(FileKind::kContainerIndex, scene_.site + "/volumes/v1/70.bhd");
        return *this;
    }
    Builder& Images() {
        Add(FileKind::kImageList, share_ + "/vcopy.dat");
        Add(FileKind::kImage, scene_.site + "/images/P/T/i1");
        return *this;
    }
    Builder& ExtentFiles() {
        AddBoth(FileKind::kExtentFile, share_ + "/map/d/", "");
        return *this;
    }
    Builder& Tables() {
        AddBoth(FileKind::kTables, share_ + "/map/d/", "/data.mdb");
        return *this;
    }
    // With links the walk of the extent checksums reaches the tables too.
    Builder& LinkedTables() {
        scene_.hasLocalTables = true;
        const std::string elsewhere = scene_.site + "/elsewhere";
        std::filesystem::rename(share_ + "/map/d", elsewhere);
        test_support::MakeDirs(share_ + "/map/d");
        for (const std::string_view file : kUserFiles) {
            const std::string name = "/" + std::string(file);
            std::filesystem::create_directory_symlink(elsewhere + name, share_ + "/map/d" + name);
        }
        AddBoth(FileKind::kTables, elsewhere + "/", "/data.mdb");
        return *this;
    }
    Scene Take() { return std::move(scene_); }

  private:
    void Add(FileKind kind, std::string path, bool exhaustive = true) {
        scene_.victims.push_back({kind, std::move(path), exhaustive});
    }

    // A small file and the large one.
    void AddBoth(FileKind kind, const std::string& before, const std::string& after) {
        Add(kind, before + "alpha" + after);
        Add(kind, before + "delta" + after, false);
    }

    Scene scene_;
    std::string share_;
};

}  // namespace

std::string_view NameOf(FileKind kind) {
    switch (kind) {
        case FileKind::kHeader:
            return "header file";
        case FileKind::kExtentFile:
            return "extent file";
        case FileKind::kTables:
            return "data.mdb";
        case FileKind::kContainerIndex:
            return ".bhd";
        case FileKind::kImage:
            return "image";
        case FileKind::kConfiguration:
            return "jorv.toml";
        case FileKind::kVolumeTable:
            return "fstab";
        case FileKind::kImageList:
            return "vcopy.dat";
    }
    return "?";
}

bool IsSealed(FileKind kind) {
    return kind != FileKind::kConfiguration && kind != FileKind::kVolumeTable &&
           kind != FileKind::kImageList;
}

std::vector<Scene> MakeScenes(const std::string& directory) {
    json extents = json::array();
    json tables = json::array();
    json local = json::array();
    for (const std::string_view user : kUserFiles) {
        const std::string file(user);
        extents.push_back(FileInExtents(file));
        tables.push_back(FileInTables(file, false));
        local.push_back(FileInTables(file, true));
    }
    std::vector<Scene> scenes;
    scenes.push_back(
        Builder(directory, "extent-files", extents, false).Images().ExtentFiles().Take());
    scenes.push_back(Builder(directory, "tables", tables, true).Tables().Take());
    scenes.push_back(Builder(directory, "linked-tables", local, true).LinkedTables().Take());
    scenes.push_back(Builder(directory, "file-data", tables, true).FileData().Tables().Take());
    return scenes;
}

}  // namespace campaign
