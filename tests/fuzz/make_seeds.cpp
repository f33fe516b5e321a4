#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "refstore/base/envelope.h"
#include "refstore/config/settings.h"
#include "refstore/container/container_writer.h"
#include "refstore/extent/extent_record.h"
#include "refstore/fstab/fstab_writer.h"
#include "refstore/header/header_record.h"
#include "refstore/image/image_record.h"
#include "refstore/table/table_record.h"
#include "tests/support/temp_dir.h"

// Writes what the fuzz targets start from into the folder that it is given: sound files, whole and
// without their seals.

namespace {

class Seeds {
  public:
    explicit Seeds(std::string root) : root_(std::move(root)) {}

    void Put(const std::string& target, const std::string& name, const std::string& text) const {
        std::filesystem::create_directories(root_ + "/" + target);
        std::ofstream(root_ + "/" + target + "/" + name, std::ios::binary) << text;
    }

    // As a file in whole, and as its payload, to be sealed by the target.
    void PutRecord(const std::string& target, const std::vector<std::byte>& bytes,
                   const std::string& name = "") const {
        const std::string text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        Put(target, name + "whole", '\0' + text);
        Put(target, name + "payload",
            '\1' + text.substr(refstore::kEnvelopeHead,
                               text.size() - refstore::kEnvelopeHead - refstore::kEnvelopeSeal));
    }

  private:
    std::string root_;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        return 2;
    }
    const Seeds seeds(argv[1]);
    const std::vector<refstore::Extent> extents = {
        {.start = 0, .end = 4096, .dcid = 1, .cksum = 97},
        {.start = 4096, .end = 5000, .dcid = 70, .dataOffset = 4096}};
    seeds.PutRecord("header", refstore::EncodeHeader({.size = 5000, .extentLocation = "/m"}));
    seeds.PutRecord("extent", refstore::EncodeExtents(1, extents));
    seeds.PutRecord("image",
                    refstore::EncodeImage(
                        {.policy = "P", .backupTime = "T", .name = "i", .containers = {64, 65}}));
    seeds.PutRecord(
        "container_index",
        refstore::EncodeContainerIndex(
            {.dcid = 64, .binSize = 3, .binSeal = 1, .entries = {{.offset = 0, .length = 3}}}));
    const refstore::TableRecord table{
        .offset = 0, .end = 8192, .extents = extents, .dcids = {{1, 0}, {70, 0}}, .bloom = {{}}};
    seeds.PutRecord("table", refstore::EncodeTables({.fileSize = 5000, .tables = {table}}));
    seeds.PutRecord("table", refstore::EncodeTables({.fileSize = 1, .tables = {table, {}, table}}),
                    "three-");
    seeds.Put("settings", "all", refstore::EncodeSettings({.klfsPrefixes = {"a", "/b"}}));
    seeds.Put("settings", "dots", "a.b.c = [{d = 1}, 'x']\nuse_file_ext_map = 0x1\n");
    seeds.Put("fstab", "two", refstore::EncodeFstab({"/srv/v1", "/srv/v 2"}));
    seeds.Put("fstab", "short", "one\n");
    const auto words = [&seeds](const std::string& name, const std::vector<std::string>& all) {
        std::string text;
        for (const std::string& word : all) {
            text += word + '\0';
        }
        seeds.Put("command_line", name, text);
    };
    words("path", {"jorvck", "--share_path", "/m/7/7"});
    words("data", {"jorvck", "--share_id", "7", "--verify_data", "--t", "24"});
    words("help", {"jorvck", "--t", "-99999999999", "--help"});
    seeds.Put("image_list", "two", "P\nT\ni1;i2;\nQ\nU\nj;\n");
    seeds.Put("image_list", "short", "P\nT");
    seeds.Put("recipe", "all", R"({"config": {"use_file_ext_map": 1, "dcid_bloom_enabled": true,
"table_span_gib": 2, "klfs_aware": false}, "volumes": [{"name": "v1", "containers": [100],
"files": {"sub/a.bin": "x"}}], "fstab": ["v1"], "shares": [{"id": "7", "files": [{"path": "a/f",
"header": {"trans_id": 5, "size": "-1", "mtime": 16, "fg": 3, "is_dev": false, "extent_location":
"/m"}, "extent_file": {"trans_id": 5, "extents": [{"start": 0, "end": 4096, "dcid": 1, "so_ref": 0,
"cksum": "auto", "data_offset": 0}]}, "stu": {"repeat": ["41", 4096]}}, {"path": "b", "tables":
{"file_size": 4096, "tables": [{"offset": 0, "end": 1073741824, "extents": [], "dcids": [[70, 0]],
"bloom": []}]}, "stu": {"hex": "00ff"}}], "vcopy": "P\nT\ni1;\n"}], "images": [{"policy": "P",
"time": "T", "name": "i1", "damaged": true}]})");
    return 0;
}
