#include "tests/size/size_site.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "refstore/base/file_writer.h"
#include "refstore/config/settings.h"
#include "refstore/extent/extent_record.h"
#include "refstore/fstab/fstab_writer.h"
#include "refstore/header/header_record.h"
#include "refstore/table/table_record.h"
#include "tests/support/temp_dir.h"

namespace size_test {

namespace {

constexpr std::uint64_t kExtentBytes = 4096;
constexpr std::uint64_t kContainers = 1000;
constexpr std::uint64_t kFirstDcid = 64;
constexpr std::uint64_t kSpan = std::uint64_t{1} << 30;

void Require(bool done, const std::string& path) {
    if (!done) {
        throw std::runtime_error(path.substr(0, 200) + ": " + std::strerror(errno));
    }
}

refstore::Extent ExtentAt(std::uint64_t number) {
    refstore::Extent extent;
    extent.start = number * kExtentBytes;
    extent.end = extent.start + kExtentBytes;
    extent.dcid = kFirstDcid + number % kContainers;
    std::memcpy(extent.fp.bytes.data(), &number, sizeof number);
    return extent;
}

}  // namespace

void MakeDirectories(const std::string& path) {
    for (std::size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
        const std::string part = path.substr(0, slash);
        Require(::mkdir(part.c_str(), 0755) == 0 || errno == EEXIST, part);
        if (slash == std::string::npos) {
            return;
        }
    }
}

SizeSite::SizeSite(std::string path, bool tables, unsigned volumes)
    : path_(std::move(path)), tables_(tables), volumes_(volumes) {
    MakeDirectories(Share() + "/head");
    MakeDirectories(Share() + "/map");
    std::vector<std::string> directories;
    for (unsigned i = 0; i < volumes; ++i) {
        directories.push_back(Volume(i));
        MakeDirectories(Volume(i));
    }
    refstore::Settings settings;
    settings.useFileExtMap = tables ? 1 : 0;
    settings.dcidBloomEnabled = tables;
    settings.metaDir = "meta";
    settings.storageFstab = "fstab";
    settings.logFile = "log";
    settings.imageRoot = "images";
    test_support::WriteFile(path_ + "/jorv.toml", refstore::EncodeSettings(settings));
    test_support::WriteFile(path_ + "/fstab", refstore::EncodeFstab(directories));
}

void SizeSite::WriteExtents(const std::string& map, std::uint64_t count) const {
    if (!tables_) {
        std::vector<refstore::Extent> extents(count);
        for (std::uint64_t i = 0; i < count; ++i) {
            extents[i] = ExtentAt(i);
        }
        refstore::WriteNewFile(map, refstore::EncodeExtents(1, extents));
        return;
    }
    refstore::TableDirectoryRecord record;
    record.fileSize = static_cast<std::int64_t>(count * kExtentBytes);
    for (std::uint64_t first = 0; first < std::max<std::uint64_t>(count, 1);
         first += kSpan / kExtentBytes) {
        refstore::TableRecord table;
        table.offset = first * kExtentBytes;
        table.end = table.offset + kSpan;
        for (std::uint64_t i = first; i < std::min(count, first + kSpan / kExtentBytes); ++i) {
            table.extents.push_back(ExtentAt(i));
            table.bloom.push_back(table.extents.back().fp);
        }
        for (std::uint64_t i = 0; i < std::min<std::uint64_t>(kContainers, count); ++i) {
            table.dcids.emplace_back(kFirstDcid + i, 0);
        }
        record.tables.push_back(std::move(table));
    }
    MakeDirectories(map);
    refstore::WriteNewFile(map + "/data.mdb", refstore::EncodeTables(record));
}

void SizeSite::AddFile(const std::string& relative, std::uint64_t extents) const {
    const std::string header = Share() + "/head/" + relative;
    const std::string map = Share() + "/map/" + relative;
    MakeDirectories(header.substr(0, header.rfind('/')));
    MakeDirectories(map.substr(0, map.rfind('/')));
    refstore::HeaderRecord record;
    record.size = static_cast<std::int64_t>(extents * kExtentBytes);
    record.extentLocation = path_ + "/meta";
    refstore::WriteNewFile(header, refstore::EncodeHeader(record));
    WriteExtents(map, extents);
}

void SizeSite::AddSame(const std::string& relative, const std::string& original) const {
    const std::string header = Share() + "/head/" + relative;
    const std::string map = Share() + "/map/" + relative;
    const std::string originalMap = Share() + "/map/" + original;
    Require(::link((Share() + "/head/" + original).c_str(), header.c_str()) == 0, header);
    Require(tables_ ? ::symlink(originalMap.c_str(), map.c_str()) == 0
                    : ::link(originalMap.c_str(), map.c_str()) == 0,
            map);
}

void SizeSite::AddContainers(std::uint64_t count) const {
    const std::string empty = path_ + "/empty";
    test_support::WriteFile(empty, "");
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::string stem =
            Volume(static_cast<unsigned>(i % volumes_)) + "/" + std::to_string(kFirstDcid + i);
        Require(::link(empty.c_str(), (stem + ".bin").c_str()) == 0, stem);
        Require(::link(empty.c_str(), (stem + ".bhd").c_str()) == 0, stem);
    }
}

std::uint64_t SizeSite::MapBytes(const std::string& relative) const {
    struct stat attributes = {};
    const std::string map = Share() + "/map/" + relative + (tables_ ? "/data.mdb" : "");
    Require(::stat(map.c_str(), &attributes) == 0, map);
    return static_cast<std::uint64_t>(attributes.st_size);
}

}  // namespace size_test
