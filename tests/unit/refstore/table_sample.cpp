#include "tests/unit/refstore/table_sample.h"

#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <string_view>

#include "refstore/table/environment_writer.h"
#include "refstore/table/table_trailer.h"
#include "refstore/table/table_trailer_writer.h"
#include "refstore/table/table_writer.h"
#include "storage/exception.h"
#include "tests/support/temp_dir.h"

namespace table_test {

using refstore::TableDirectoryRecord;
using refstore::TableEnvironment;
using refstore::TableRecord;

crfp_digest_t Fingerprint(std::uint8_t first) {
    crfp_digest_t fp = {};
    std::iota(fp.bytes.begin(), fp.bytes.end(), first);
    return fp;
}

crfp_digest_t NumberedFingerprint(std::uint64_t number) {
    crfp_digest_t fp = {};
    std::memcpy(fp.bytes.data(), &number, sizeof number);
    return fp;
}

TableDirectoryRecord Example() {
    TableRecord table;
    table.offset = 0;
    table.end = std::uint64_t{1} << 30;
    table.extents = {{.start = 0,
                      .end = 4096,
                      .dcid = 1,
                      .soRef = 0,
                      .cksum = 97,
                      .dataOffset = 0,
                      .fp = Fingerprint(0)},
                     {.start = 4096,
                      .end = 5000,
                      .dcid = 70,
                      .soRef = 5,
                      .cksum = 2056,
                      .dataOffset = 4096,
                      .fp = Fingerprint(32)}};
    table.dcids = {{70, 0}, {1, 9}};
    table.bloom = {Fingerprint(32)};
    return {.fileSize = 5000, .tables = {table}};
}

TableRecord MakeTable(std::uint64_t offset, std::uint64_t end, std::uint64_t count) {
    TableRecord table;
    table.offset = offset;
    table.end = end;
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::uint64_t start = offset + i * 4096;
        const crfp_digest_t fp = NumberedFingerprint(start);
        table.extents.push_back({.start = start,
                                 .end = start + 4096,
                                 .dcid = 64 + i % 200,
                                 .soRef = i,
                                 .cksum = i * 31,
                                 .dataOffset = static_cast<std::int64_t>(i),
                                 .fp = fp});
        table.bloom.push_back(fp);
    }
    for (std::uint64_t dcid = 64; dcid < 64 + std::min<std::uint64_t>(count, 200); ++dcid) {
        table.dcids.emplace_back(dcid, 3 * dcid);
    }
    return table;
}

std::string Encode(const TableDirectoryRecord& record) {
    const test_support::TempDir directory;
    refstore::WriteTableDirectory(directory.Path(), record);
    return test_support::ReadFile(directory / "data.mdb");
}

std::string EncodeRecords(const std::vector<std::pair<std::string, std::string>>& records) {
    const std::string path = "/x/data.mdb";
    refstore::EnvironmentRoom room;
    for (const auto& [key, value] : records) {
        room.Add(key.size(), value.size());
    }
    refstore::EnvironmentWriter writer(room, path);
    for (const auto& [key, value] : records) {
        writer.Append(std::as_bytes(std::span(key)), std::as_bytes(std::span(value)));
    }
    const auto bytes = writer.Finish(refstore::kTrailerSize);
    std::string file(bytes.size(), '\0');
    std::memcpy(file.data(), bytes.data(), bytes.size());
    return Reseal(std::move(file));
}

std::string Reseal(std::string file) {
    refstore::SealTableFile(std::as_writable_bytes(std::span(file)));
    return file;
}

TableEnvironment Load(const std::string& bytes) {
    refstore::FileBytes file;
    file.data = std::make_unique<std::byte[]>(bytes.size());
    file.size = bytes.size();
    std::memcpy(file.data.get(), bytes.data(), bytes.size());
    return {refstore::MakeTableFile(std::move(file)), "/x/data.mdb"};
}

std::vector<refstore::Extent> ExtentsOf(const TableEnvironment& environment, std::size_t table) {
    std::vector<refstore::Extent> extents;
    for (auto walk = environment.Extents(table); walk.Left() > 0; walk.Next()) {
        extents.push_back(refstore::LoadAs<refstore::Extent>(walk.Bytes()));
    }
    return extents;
}

std::string DamageOf(const std::string& bytes) {
    return DamageOf([&bytes] { return Load(bytes); });
}

std::string DamageOf(const std::function<TableEnvironment()>& load) {
    constexpr std::string_view kFront = "mapping table /x/data.mdb: ";
    constexpr std::string_view kBack = " (errno 74)";
    try {
        const TableEnvironment environment = load();
        for (std::size_t table = 0; table < environment.Tables().size(); ++table) {
            [[maybe_unused]] const auto extents = ExtentsOf(environment, table);
            [[maybe_unused]] const auto dcids = environment.Dcids(table);
            const auto bloom = environment.Bloom(table);
            refstore::BloomContains(bloom.hashes, bloom.words, {});
        }
        return {};
    } catch (const Corvane::Kst::Marlow::Jorv::SysException& refused) {
        EXPECT_EQ(refused.GetErrorNumber(), 74);
        const std::string what = refused.what();
        EXPECT_TRUE(what.starts_with(kFront) && what.ends_with(kBack)) << what;
        return what.substr(kFront.size(), what.size() - kFront.size() - kBack.size());
    }
}

}  // namespace table_test
