#include "refstore/container/container_reader.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <limits>

#include "refstore/container/container_writer.h"
#include "refstore/fingerprint.h"
#include "tests/unit/refstore/base_sealed_record.h"

namespace {

namespace fs = std::filesystem;

using refstore::ContainerIndex;
using refstore::ContainerReader;
using refstore::FindContainers;
using refstore::Fingerprint;
using refstore_test::Damage;
using refstore_test::Failure;
using refstore_test::FailureOf;
using test_support::Bytes;
using test_support::MakeDirs;
using test_support::TempDir;
using test_support::WriteFile;

// A container with the texts as its pieces.
void MakeContainer(const std::string& directory, std::uint64_t dcid,
                   const std::vector<std::string>& texts) {
    MakeDirs(directory);
    refstore::ContainerWriter writer(directory, dcid);
    for (const std::string& text : texts) {
        writer.Add(Fingerprint(Bytes(text)), Bytes(text));
    }
    writer.Finish();
}

TEST(FindContainers, AreFoundAtAnyDepthByTheirExactNames) {
    const TempDir dir;
    for (const char* const name :
         {"v1/100.bhd", "v1/a/b/101.bhd", "v2/0.bhd", "v2/18446744073709551615.bhd",
          // None of these is the name of a container's index.
          "v1/0100.bhd", "v1/-5.bhd", "v1/+7.bhd", "v1/ 8.bhd", "v1/abc.bhd", "v1/.bhd", "v1/9.BHD",
          "v1/10.bin", "v1/11.bhd.new", "v1/18446744073709551616.bhd", "v1/12bhd"}) {
        WriteFile(dir / name, "");
    }
    MakeDirs(dir / "v1/200.bhd");
    ASSERT_EQ(::mkfifo((dir / "v1/201.bhd").c_str(), 0600), 0);
    fs::create_directory_symlink("a", dir / "v1/linked");
    const auto found = FindContainers({dir / "v1", dir / "v2"});
    std::map<std::uint64_t, std::string> indexes;
    for (const auto& [dcid, files] : found) {
        indexes[dcid] = files.bhd;
    }
    EXPECT_EQ(indexes,
              (std::map<std::uint64_t, std::string>{{0, dir / "v2/0.bhd"},
                                                    {100, dir / "v1/100.bhd"},
                                                    {101, dir / "v1/a/b/101.bhd"},
                                                    {std::numeric_limits<std::uint64_t>::max(),
                                                     dir / "v2/18446744073709551615.bhd"}}));
    EXPECT_EQ(found.at(101).bin, dir / "v1/a/b/101.bin");
}

TEST(FindContainers, OfSeveralTheFirstVolumeAndTheLeastPathCount) {
    const TempDir dir;
    for (const char* const name : {"v1/100.bhd", "v2/z/100.bhd", "v2/a/100.bhd", "v2/m/100.bhd"}) {
        WriteFile(dir / name, "");
    }
    EXPECT_EQ(FindContainers({dir / "v2", dir / "v1"}).at(100).bhd, dir / "v2/a/100.bhd");
    EXPECT_EQ(FindContainers({dir / "v1", dir / "v2"}).at(100).bhd, dir / "v1/100.bhd");
}

TEST(FindContainers, AVolumeThatIsMissingIsAnError) {
    const TempDir dir;
    EXPECT_EQ(
        FailureOf([&] { FindContainers({dir / "no"}); }),
        (Failure{ENOENT, "volume " + (dir / "no") + ": No such file or directory (errno 2)"}));
}

TEST(ContainerReader, EveryPieceComesBackFromItsContainer) {
    const TempDir dir;
    MakeContainer(dir / "v1", 100, {"abc", "", "defg"});
    MakeContainer(dir / "v2/deep", 101, {"hij", "abc"});
    ContainerReader reader({dir / "v1", dir / "v2"});
    const auto read = [&reader](std::uint64_t dcid, const std::string& text) {
        return reader.Read(dcid, Fingerprint(Bytes(text)), text.size());
    };
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(read(100, "abc"), Bytes("abc"));
        EXPECT_EQ(read(101, "hij"), Bytes("hij"));
        EXPECT_EQ(read(100, "defg"), Bytes("defg"));
        EXPECT_EQ(read(100, ""), Bytes(""));
        EXPECT_EQ(read(101, "abc"), Bytes("abc"));
    }
}

TEST(ContainerReader, WhatIsNotThereIsENOENT) {
    const TempDir dir;
    MakeContainer(dir / "v", 100, {"abc"});
    ContainerReader reader({dir / "v"});
    EXPECT_EQ(FailureOf([&] { reader.Read(7, Fingerprint(Bytes("abc")), 3); }),
              (Failure{ENOENT, "container 7: not on any volume (errno 2)"}));
    EXPECT_EQ(FailureOf([&] { reader.Read(100, Fingerprint(Bytes("xyz")), 3); }),
              (Failure{ENOENT, "container index " + (dir / "v/100.bhd") +
                                   ": no data with that fingerprint (errno 2)"}));
}

// A container 100 whose index has been tampered with and sealed again.
class HostileIndex : public testing::Test {
  protected:
    void SetUp() override { MakeContainer(dir_ / "v", 100, {"abc", "defg"}); }

    template <typename Change>
    Failure ReadAfter(const Change& change, std::uint64_t length) {
        ContainerIndex index = refstore::LoadContainerIndex(Bhd());
        change(index);
        WriteFile(Bhd(), refstore::EncodeContainerIndex(index));
        return FailureOf(
            [&] { ContainerReader({dir_ / "v"}).Read(100, Fingerprint(Bytes("defg")), length); });
    }
    [[nodiscard]] std::string Bhd() const { return dir_ / "v/100.bhd"; }
    [[nodiscard]] std::string Bin() const { return dir_ / "v/100.bin"; }
    [[nodiscard]] Failure IndexDamage(std::string_view why) const {
        return {EBADMSG, Damage("container index", Bhd(), why)};
    }
    [[nodiscard]] Failure DataDamage(std::string_view why) const {
        return {EBADMSG, Damage("container data", Bin(), why)};
    }

    TempDir dir_;
};

TEST_F(HostileIndex, UnchangedItIsRead) {
    EXPECT_EQ(ReadAfter([](ContainerIndex&) {}, 4), Failure{});
}

TEST_F(HostileIndex, OfAnotherContainerIsDamage) {
    EXPECT_EQ(ReadAfter([](ContainerIndex& index) { index.dcid = 101; }, 4),
              IndexDamage("names another container"));
}

TEST_F(HostileIndex, WithAnotherLengthIsDamage) {
    EXPECT_EQ(ReadAfter([](ContainerIndex&) {}, 5), IndexDamage("data has another length"));
}

TEST_F(HostileIndex, WithAnOffsetBehindTheDataIsDamage) {
    const Failure outside = IndexDamage("data lies outside the container");
    for (const std::uint64_t offset :
         {std::uint64_t{4}, std::uint64_t{7}, std::numeric_limits<std::uint64_t>::max(),
          std::numeric_limits<std::uint64_t>::max() - 3}) {
        EXPECT_EQ(ReadAfter([&](ContainerIndex& index) { index.entries[1].offset = offset; }, 4),
                  outside)
            << offset;
    }
}

TEST_F(HostileIndex, WithAHugeLengthAllocatesNothing) {
    const Failure outside = IndexDamage("data lies outside the container");
    for (const std::uint64_t length :
         {std::uint64_t{8}, std::uint64_t{1} << 40, std::numeric_limits<std::uint64_t>::max()}) {
        EXPECT_EQ(
            ReadAfter([&](ContainerIndex& index) { index.entries[1].length = length; }, length),
            outside)
            << length;
    }
    // Even where the data is as long as the index says.
    const std::uint64_t size = std::uint64_t{1} << 40;
    fs::resize_file(Bin(), size);
    EXPECT_EQ(ReadAfter(
                  [&](ContainerIndex& index) {
                      index.binSize = size;
                      index.entries[1] = {index.entries[1].fp, 0, size};
                  },
                  size),
              outside);
}

TEST_F(HostileIndex, WithAnotherSizeThanTheDataCostsNoPieceThatIsThere) {
    EXPECT_EQ(ReadAfter([](ContainerIndex& index) { index.binSize = 8; }, 4), Failure{});
}

TEST_F(HostileIndex, ThatPointsAtOtherDataIsDamage) {
    EXPECT_EQ(ReadAfter([](ContainerIndex& index) { index.entries[1].offset = 2; }, 4),
              DataDamage("data does not have its fingerprint"));
}

TEST_F(HostileIndex, WithoutItsDataIsAnError) {
    fs::remove(Bin());
    EXPECT_EQ(ReadAfter([](ContainerIndex&) {}, 4).code, ENOENT);
}

TEST_F(HostileIndex, ThatIsDamagedStaysSoOnASecondRead) {
    WriteFile(Bhd(), "damaged");
    ContainerReader reader({dir_ / "v"});
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(FailureOf([&] { reader.Read(100, Fingerprint(Bytes("defg")), 4); }),
                  IndexDamage("too short"));
    }
}

}  // namespace
