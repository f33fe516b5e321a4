// Builds a seeded share for measurements; every run with the same words gives the same bytes.
//   bench_share SITE files|tables FILES [NAME=NUMBER...]
// Names and their defaults:
//   volumes=2 seed=1
//   per_directory=100     files of one directory; 0: all of them lie in the top directory
//   extents=0             extents of every file; 0: 1 to 8, drawn
//   extent_bytes=1024     bytes of one extent
//   distinct=100000       files with bytes of their own; the files after them are hard links to
//   these
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <map>
#include <random>
#include <set>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "refstore/base/file_writer.h"
#include "refstore/config/settings.h"
#include "refstore/container/container_writer.h"
#include "refstore/extent/extent_record.h"
#include "refstore/extent/sampled_checksum.h"
#include "refstore/fstab/fstab_writer.h"
#include "refstore/header/header_record.h"
#include "refstore/table/table_record.h"

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kFirstContainer = 64;
constexpr std::uint64_t kContainers = 256;
constexpr std::uint64_t kSpan = std::uint64_t{1} << 30;
constexpr std::uint64_t kLocal = 1;

std::span<const std::byte> Bytes(const std::string& text) {
    return std::as_bytes(std::span(text));
}

class Share {
  public:
    Share(const fs::path& site, bool tables, std::map<std::string, std::uint64_t> numbers)
        : site_(fs::absolute(site)),
          tables_(tables),
          numbers_(std::move(numbers)),
          random_(numbers_["seed"]) {}

    void Build(std::uint64_t files) {
        MakeSite();
        const std::uint64_t distinct = std::min(files, numbers_["distinct"]);
        for (std::uint64_t i = 0; i < files; ++i) {
            const std::string name = NameOf(i);
            MakeParents(name);
            if (i < distinct) {
                WriteFile(name);
            } else {
                LinkFile(NameOf(i % distinct), name);
            }
        }
    }

  private:
    fs::path Meta() const { return site_ / "meta"; }
    std::string Tree(const char* tree, const std::string& name) const {
        return (Meta() / "7" / "7" / tree / name).string();
    }

    void MakeSite() {
        fs::create_directories(Meta() / "7" / "7");
        for (const char* tree : {"head", "map", "stu"}) {
            fs::create_directory(Tree(tree, ""));
        }
        std::vector<std::string> volumes;
        for (std::uint64_t i = 1; i <= numbers_["volumes"]; ++i) {
            volumes.push_back((site_ / "volumes" / ("v" + std::to_string(i))).string());
            fs::create_directories(volumes.back());
        }
        for (std::uint64_t i = 0; i < kContainers; ++i) {
            refstore::ContainerWriter container(volumes[i % volumes.size()], kFirstContainer + i);
            container.Add(DrawFingerprint(), Bytes("data"));
            container.Finish();
        }
        refstore::WriteNewFile((site_ / "fstab").string(), Bytes(refstore::EncodeFstab(volumes)));
        refstore::Settings settings;
        settings.useFileExtMap = tables_ ? 1 : 0;
        settings.dcidBloomEnabled = tables_;
        settings.metaDir = "meta";
        settings.storageFstab = "fstab";
        settings.logFile = "jorv.log";
        settings.imageRoot = "images";
        refstore::WriteNewFile((site_ / "jorv.toml").string(),
                               Bytes(refstore::EncodeSettings(settings)));
    }

    std::string NameOf(std::uint64_t i) {
        const std::string file = "file-" + std::to_string(i) + ".dat";
        const std::uint64_t per = numbers_["per_directory"];
        if (per == 0) {
            return file;
        }
        return "area-" + std::to_string(i / per / per) + "/part-" + std::to_string(i / per % per) +
               "/" + file;
    }

    void MakeParents(const std::string& name) {
        const std::string parent = fs::path(name).parent_path().string();
        if (parent == lastParent_) {
            return;
        }
        lastParent_ = parent;
        for (const char* tree : {"head", "map", "stu"}) {
            if (!tables_ || tree != std::string_view("stu")) {
                fs::create_directories(Tree(tree, parent));
            }
        }
    }

    crfp_digest_t DrawFingerprint() {
        crfp_digest_t fp = {};
        for (std::uint8_t& byte : fp.bytes) {
            byte = static_cast<std::uint8_t>(random_());
        }
        return fp;
    }

    // As packing leaves it: new data goes into the container that is being filled, and runs of
    // extents repeat data of a container that was filled before.
    std::uint64_t DrawContainer() {
        constexpr std::uint64_t kFull = 512;
        if (repeated_ > 0) {
            --repeated_;
            return repeatedIn_;
        }
        if (random_() % 8 == 0) {
            repeated_ = random_() % 32;
            repeatedIn_ = kFirstContainer + random_() % kContainers;
            return repeatedIn_;
        }
        return kFirstContainer + filled_++ / kFull % kContainers;
    }

    void WriteFile(const std::string& name) {
        const std::uint64_t count =
            numbers_["extents"] != 0 ? numbers_["extents"] : 1 + random_() % 8;
        const std::uint64_t step = numbers_["extent_bytes"];
        refstore::HeaderRecord header;
        header.size = static_cast<std::int64_t>(count * step);
        header.mtime = 1600000000;
        header.extentLocation = Meta().string();
        refstore::WriteNewFile(Tree("head", name), refstore::EncodeHeader(header));
        std::vector<refstore::Extent> extents(count);
        for (std::uint64_t i = 0; i < count; ++i) {
            extents[i].start = i * step;
            extents[i].end = (i + 1) * step;
            extents[i].dcid = tables_ ? DrawContainer() : kLocal;
            extents[i].dataOffset = static_cast<std::int64_t>(i * step);
            extents[i].fp = DrawFingerprint();
        }
        tables_ ? WriteTables(name, header.size, extents) : WriteExtentFile(name, extents);
    }

    void WriteTables(const std::string& name, std::int64_t size,
                     const std::vector<refstore::Extent>& extents) {
        fs::create_directory(Tree("map", name));
        refstore::TableDirectoryRecord record{.fileSize = size, .tables = {}};
        for (const refstore::Extent& extent : extents) {
            const std::uint64_t table = extent.start / kSpan;
            while (record.tables.size() <= table) {
                const std::uint64_t offset = record.tables.size() * kSpan;
                record.tables.push_back({.offset = offset,
                                         .end = offset + kSpan,
                                         .extents = {},
                                         .dcids = {},
                                         .bloom = {}});
            }
            record.tables[table].extents.push_back(extent);
            record.tables[table].bloom.push_back(extent.fp);
        }
        for (refstore::TableRecord& table : record.tables) {
            std::set<std::uint64_t> dcids;
            for (const refstore::Extent& extent : table.extents) {
                dcids.insert(extent.dcid);
            }
            for (const std::uint64_t dcid : dcids) {
                table.dcids.emplace_back(dcid, 0);
            }
        }
        refstore::WriteNewFile(Tree("map", name) + "/data.mdb", refstore::EncodeTables(record));
    }

    void WriteExtentFile(const std::string& name, std::vector<refstore::Extent>& extents) {
        std::vector<std::byte> data(extents.back().end);
        for (std::byte& byte : data) {
            byte = static_cast<std::byte>(random_());
        }
        for (refstore::Extent& extent : extents) {
            extent.cksum = refstore::SampledChecksum(
                std::span(data).subspan(extent.start, extent.end - extent.start));
        }
        refstore::WriteNewFile(Tree("stu", name), data);
        refstore::WriteNewFile(Tree("map", name), refstore::EncodeExtents(1, extents));
    }

    void LinkFile(const std::string& from, const std::string& to) const {
        fs::create_hard_link(Tree("head", from), Tree("head", to));
        if (tables_) {
            fs::create_directory(Tree("map", to));
            fs::create_hard_link(Tree("map", from) + "/data.mdb", Tree("map", to) + "/data.mdb");
        } else {
            fs::create_hard_link(Tree("map", from), Tree("map", to));
            fs::create_hard_link(Tree("stu", from), Tree("stu", to));
        }
    }

    fs::path site_;
    bool tables_;
    std::map<std::string, std::uint64_t> numbers_;
    std::mt19937_64 random_;
    std::string lastParent_ = "none";
    std::uint64_t filled_ = 0;
    std::uint64_t repeated_ = 0;
    std::uint64_t repeatedIn_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
    try {
        const std::vector<std::string> words(argv, argv + argc);
        std::map<std::string, std::uint64_t> numbers = {
            {"volumes", 2},         {"seed", 1},         {"per_directory", 100}, {"extents", 0},
            {"extent_bytes", 1024}, {"distinct", 100000}};
        if (words.size() < 4 || (words[2] != "files" && words[2] != "tables")) {
            throw std::invalid_argument("bench_share SITE files|tables FILES [NAME=NUMBER...]");
        }
        for (std::size_t i = 4; i < words.size(); ++i) {
            const std::size_t equals = words[i].find('=');
            numbers.at(words[i].substr(0, equals)) = std::stoull(words[i].substr(equals + 1));
        }
        Share(words[1], words[2] == "tables", numbers).Build(std::stoull(words[3]));
        return 0;
    } catch (const std::exception& failure) {
        std::cerr << "bench_share: " << failure.what() << '\n';
        return 1;
    }
}
