#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <stdexcept>

#include "jorvck/extnode_check.h"
#include "storage/exception.h"
#include "storage/null_data_cache_management.h"
#include "tests/fake/fake_table.h"
#include "tests/interposed/files.h"
#include "tests/unit/jorvck/extnode_fixture.h"

namespace extnode {

namespace {

using Corvane::Kst::Marlow::Jorv::SysException;
using Corvane::Kst::Marlow::JorvCk::kReadBufferSize;
using storage_fake::FakeTable;
using test_support::Capture;
using test_support::StoredExtent;
using test_support::Throws;
using test_support::WriteFile;

constexpr const char* kObjectLine = "verify SO exist... \n";
constexpr const char* kReadLine = "[ERROR]: Failed to read local STU file /s/map/f\n";
constexpr const char* kSeekLine = "[ERROR]: Failed to seek local STU file/s/map/f\n";
constexpr const char* kChecksumLine = "[ERROR]: extent file cksum failed /s/map/f\n";

constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();

/// A local extent of `length` bytes at `dataOffset` of the storage unit.
StoredExtent Local(std::uint64_t length, std::uint64_t cksum, std::int64_t dataOffset = 0) {
    return {.start = 0, .end = length, .dcid = 1, .cksum = cksum, .dataOffset = dataOffset};
}

/// Checks one table of the file "/s/map/f", whose storage unit is the file "stu" of the directory.
class TableCksum : public ShareTest {
  protected:
    /// The result; keeps what was printed. The buffer is clear and no stream is open afterwards.
    int Check(std::vector<StoredExtent> extents) {
        FakeTable table(&nullCache);
        table.Fill("t", {.extents = std::move(extents)});
        files.Forget();
        int result = 77;
        const auto captured = Capture(
            [&] { result = check.ExtNodeCheck_Cksum_File_Table(&table, "/s/map/f", dir / "stu"); });
        EXPECT_EQ(captured.out, "");
        err = captured.err;
        ExpectTidy();
        return result;
    }

    template <typename E>
    void ExpectThrows(std::vector<StoredExtent> extents) {
        FakeTable table(&nullCache);
        table.Fill("t", {.extents = std::move(extents)});
        bool thrown = false;
        const auto call = [&] {
            check.ExtNodeCheck_Cksum_File_Table(&table, "/s/map/f", dir / "stu");
        };
        err = Capture([&] { thrown = Throws<E>(call); }).err;
        EXPECT_TRUE(thrown);
        EXPECT_EQ(script.Alive("MappingCursor"), 0);
        ExpectTidy();
    }

    void ExpectTidy() {
        EXPECT_EQ(files.Open(), 0U) << "a storage unit was left open";
        EXPECT_TRUE(files.BufferIsClear());
    }

    /// The checksum of a buffer full of "A".
    static std::uint64_t WholeBufferOfA() {
        std::uint32_t hash = 0;
        for (int sample = 0; sample < 128; ++sample) {
            hash = hash * 31 + 'A';
        }
        return hash & 0x7FFFFFFFU;
    }

    std::string err;
    jorv::NullDataCacheManagement nullCache;
    ExtNodeCheck check{Root()};
    interposed::Files files{dir.Path() + "/", kReadBufferSize};
};

TEST_F(TableCksum, ATableWithoutRecordsIsSoundAndSilent) {
    EXPECT_EQ(Check({}), 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(script.Calls({"CMappingTable::begin", "CMappingTable::end", "MappingCursor::Equals",
                            "MappingCursor::Destroy", "MappingCursor::Current"}),
              (Lines{"CMappingTable::begin t", "CMappingTable::end t", "MappingCursor::Equals t#0",
                     "MappingCursor::Destroy t#0", "MappingCursor::Destroy t#0"}));
    EXPECT_EQ(files.Calls(), Lines{});
}

TEST_F(TableCksum, EveryStepTakesAFreshEndAndReadsTheRecordInItsOrder) {
    WriteFile(dir / "stu", "A");
    EXPECT_EQ(Check({Local(1, 'A'), {.dcid = 5}}), 0);
    EXPECT_EQ(script.CallsBut({"CMappingTable::~CMappingTable"}),
              (Lines{"CMappingTable::begin t",     "CMappingTable::end t",
                     "MappingCursor::Equals t#0",  "MappingCursor::Destroy t#2",
                     "MappingCursor::Current t#0", "Ext::GetStartOffset t#0",
                     "Ext::GetEndOffset t#0",      "Ext::GetDataOffset t#0",
                     "Ext::GetDCID t#0",           "Ext::GetSORef t#0",
                     "Ext::GetCksum t#0",          "MappingCursor::Next t#0",
                     "CMappingTable::end t",       "MappingCursor::Equals t#1",
                     "MappingCursor::Destroy t#2", "MappingCursor::Current t#1",
                     "Ext::GetStartOffset t#1",    "Ext::GetEndOffset t#1",
                     "Ext::GetDataOffset t#1",     "Ext::GetDCID t#1",
                     "Ext::GetSORef t#1",          "MappingCursor::Next t#1",
                     "CMappingTable::end t",       "MappingCursor::Equals t#2",
                     "MappingCursor::Destroy t#2", "MappingCursor::Destroy t#2"}));
}

TEST_F(TableCksum, ATableThatHandsOutNothingForItsEndIsWalkedToIt) {
    script.nullEnd = true;
    WriteFile(dir / "stu", "A");
    EXPECT_EQ(Check({}), 0);
    EXPECT_EQ(Check({Local(1, 'A'), Local(1, 'B'), Local(1, 'A')}), -1);
    EXPECT_EQ(err, kChecksumLine);
}

TEST_F(TableCksum, ATableThatHandsOutNothingForItsBeginAloneIsEmpty) {
    script.nullBegin = true;
    EXPECT_EQ(Check({}), 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(script.Calls({"MappingCursor::Equals", "MappingCursor::Current"}),
              Lines{"MappingCursor::Equals t#0"});
}

TEST_F(TableCksum, OnlyDcid1IsReadAndOnlyDcidsFrom64OnAreAnnounced) {
    for (const std::uint64_t dcid : {0U, 2U, 5U, 63U}) {
        EXPECT_EQ(Check({{.end = 1, .dcid = dcid}}), 0);
        EXPECT_EQ(err, "") << dcid;
    }
    for (const std::uint64_t dcid : {std::uint64_t{64}, std::uint64_t{70}, kMax}) {
        EXPECT_EQ(Check({{.end = 1, .dcid = dcid}}), 0);
        EXPECT_EQ(err, kObjectLine) << dcid;
    }
    // Only the low byte, or the low half, is 1.
    for (const std::uint64_t dcid : {std::uint64_t{0x101}, std::uint64_t{0x100000001}}) {
        EXPECT_EQ(Check({{.end = 1, .dcid = dcid}}), 0);
        EXPECT_EQ(err, kObjectLine) << dcid;
    }
    EXPECT_EQ(files.Calls(), Lines{});
}

TEST_F(TableCksum, AStorageObjectIsAnnouncedWhateverTheDcid) {
    for (const std::uint64_t soRef :
         {std::uint64_t{1}, std::uint64_t{1} << 32U, std::uint64_t{1} << 63U, kMax}) {
        EXPECT_EQ(Check({{.end = 1, .dcid = 5, .soRef = soRef}}), 0);
        EXPECT_EQ(err, kObjectLine) << soRef;
    }
    EXPECT_EQ(Check({{.end = 1, .dcid = 70, .soRef = 9}}), 0);
    EXPECT_EQ(err, kObjectLine) << "once, though both reasons hold";
    EXPECT_EQ(files.Calls(), Lines{});
}

TEST_F(TableCksum, ALocalExtentWithAStorageObjectIsAnnouncedAndThenRead) {
    WriteFile(dir / "stu", "A");
    StoredExtent extent = Local(1, 'A');
    extent.soRef = 9;
    EXPECT_EQ(Check({extent}), 0);
    EXPECT_EQ(err, kObjectLine);
    EXPECT_EQ(files.Calls(),
              (Lines{"stat64 stu", "fopen64 stu rb", "fseeko64 0 0", "fread 1 1", "fclose"}));
    extent.cksum = 'B';
    EXPECT_EQ(Check({extent}), -1);
    EXPECT_EQ(err, std::string(kObjectLine) + kChecksumLine);
}

TEST_F(TableCksum, SoundExtentsAreSilentAndEachOpensTheUnitAnew) {
    WriteFile(dir / "stu", "ABC");
    EXPECT_EQ(Check({Local(1, 'A'), {.dcid = 5}, Local(1, 'B', 1), Local(2, 'B', 1)}), 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(files.Calls(),
              (Lines{"stat64 stu", "fopen64 stu rb", "fseeko64 0 0", "fread 1 1", "fclose",
                     "fopen64 stu rb", "fseeko64 1 0", "fread 1 1", "fclose", "fopen64 stu rb",
                     "fseeko64 1 0", "fread 1 2", "fclose"}))
        << "one look at the kind of file per table, one open per extent, a clear buffer each time";
}

TEST_F(TableCksum, OneByteInEvery1024IsCompared) {
    std::string data(4096, '\xEE');
    data[0] = 1;
    data[1024] = 2;
    data[2048] = 3;
    WriteFile(dir / "stu", data);
    EXPECT_EQ(Check({Local(2049, 1026), Local(2048, 33), Local(1, 1), Local(1024, 1)}), 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(Check({Local(2049, 1027)}), -1);
    EXPECT_EQ(Check({Local(2048, 1026)}), -1);
}

TEST_F(TableCksum, TheLongestExtentFillsTheBuffer) {
    WriteFile(dir / "stu", std::string(kReadBufferSize + 1, '\xFF'));
    EXPECT_EQ(Check({Local(131072, 265746432), Local(1025, 8160)}), 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(files.Buffer().size(), 131072U);
}

TEST_F(TableCksum, AShortReadIsComparedByWhatWasThere) {
    std::string data(2048, '\xEE');
    data[0] = 1;
    data[1024] = 2;
    WriteFile(dir / "stu", data);
    EXPECT_EQ(Check({Local(131072, 33), Local(2049, 33), Local(131072, 2, 1024)}), 0);
    EXPECT_EQ(err, "");
    // The last byte of the unit alone.
    EXPECT_EQ(Check({Local(4096, 0xEE, 2047)}), 0);
}

TEST_F(TableCksum, TheLengthIsTheDifferenceOfTheOffsets) {
    WriteFile(dir / "stu", std::string(4096, 'A'));
    StoredExtent extent = Local(0, 'A' * 31 + 'A');
    extent.start = kMax - 1500;
    extent.end = kMax;
    EXPECT_EQ(Check({extent}), 0);
    EXPECT_EQ(files.Calls()[3], "fread 1 1500");
}

TEST_F(TableCksum, AStoredChecksumWithABitAboveTheLow31NeverMatches) {
    WriteFile(dir / "stu", "A");
    for (unsigned bit = 31; bit < 64; ++bit) {
        EXPECT_EQ(Check({Local(1, 'A' | std::uint64_t{1} << bit)}), -1) << bit;
        EXPECT_EQ(err, kChecksumLine) << bit;
    }
}

TEST_F(TableCksum, TheFirstMismatchEndsTheTable) {
    WriteFile(dir / "stu", "A");
    EXPECT_EQ(Check({Local(1, 'A'), Local(1, 'B'), Local(1, 'C')}), -1);
    EXPECT_EQ(err, kChecksumLine);
    EXPECT_EQ(script.Calls({"MappingCursor::Current"}),
              (Lines{"MappingCursor::Current t#0", "MappingCursor::Current t#1"}));
    EXPECT_EQ(script.Alive("MappingCursor"), 0);
    EXPECT_EQ(files.Calls(),
              (Lines{"stat64 stu", "fopen64 stu rb", "fseeko64 0 0", "fread 1 1", "fclose",
                     "fopen64 stu rb", "fseeko64 0 0", "fread 1 1", "fclose"}));
}

TEST_F(TableCksum, ADataOffsetAtOrBehindTheEndReadsNothing) {
    WriteFile(dir / "stu", "AB");
    for (const std::int64_t offset : {std::int64_t{2}, std::int64_t{3}, std::int64_t{1} << 40}) {
        EXPECT_EQ(Check({Local(1, 'A', offset), Local(1, 'C')}), -1);
        EXPECT_EQ(err, kReadLine) << offset;
    }
    EXPECT_EQ(script.Calls({"Ext::GetCksum"}), Lines{});
}

TEST_F(TableCksum, ADataOffsetBehind4GiBIsNotCutShort) {
    WriteFile(dir / "stu", "A");
    constexpr std::int64_t kOffset = (std::int64_t{1} << 32) + 5;
    std::filesystem::resize_file(dir / "stu", kOffset + 1);
    EXPECT_EQ(Check({Local(1, 0, kOffset)}), 0);
    EXPECT_EQ(Check({Local(1, 'A', kOffset)}), -1);
    EXPECT_EQ(err, kChecksumLine);
}

TEST_F(TableCksum, ANegativeDataOffsetCannotBeSoughtAndItsLineHasNoBlank) {
    WriteFile(dir / "stu", "A");
    for (const std::int64_t offset : {std::int64_t{-1}, std::numeric_limits<std::int64_t>::min()}) {
        EXPECT_EQ(Check({Local(1, 'A', offset), Local(1, 'B')}), -1);
        EXPECT_EQ(err, kSeekLine) << offset;
        EXPECT_EQ(files.Calls(), (Lines{"stat64 stu", "fopen64 stu rb",
                                        "fseeko64 " + std::to_string(offset) + " 0", "fclose"}));
    }
}

TEST_F(TableCksum, AMissingUnitIsSilent) {
    EXPECT_EQ(Check({{.dcid = 5}, Local(1, 'A'), {.dcid = 70}}), -1);
    EXPECT_EQ(err, "");
    EXPECT_EQ(files.Calls(), (Lines{"stat64 stu", "fopen64 stu rb"}));
    EXPECT_EQ(script.Calls({"MappingCursor::Current"}).size(), 2U);
    EXPECT_EQ(script.Alive("MappingCursor"), 0);
}

TEST_F(TableCksum, AnEmptyUnitReadsNothing) {
    WriteFile(dir / "stu", "");
    EXPECT_EQ(Check({Local(1, 0)}), -1);
    EXPECT_EQ(err, kReadLine);
}

TEST_F(TableCksum, ADirectoryForAUnitIsAReadError) {
    std::filesystem::create_directory(dir / "stu");
    EXPECT_EQ(Check({Local(1, 0)}), -1);
    EXPECT_EQ(err, kReadLine);
    EXPECT_EQ(files.Calls(),
              (Lines{"stat64 stu", "fopen64 stu rb", "fseeko64 0 0", "fread 1 1", "fclose"}));
}

TEST_F(TableCksum, AnExtentThatDoesNotFitTheBufferOrIsInvertedReadsNothing) {
    WriteFile(dir / "stu", std::string(kReadBufferSize + 10, 'A'));
    const std::vector<std::pair<std::uint64_t, std::uint64_t>> offsets = {
        {0, 131073},
        {1, 131074},
        {0, kMax},
        {0, std::uint64_t{1} << 32U},
        {0, (std::uint64_t{1} << 32U) + 1},
        {1, 0},
        {4096, 0},
        {131073, 131072},
        {kMax, kMax - 1}};
    for (const auto& [start, end] : offsets) {
        StoredExtent extent = Local(0, 0);
        extent.start = start;
        extent.end = end;
        EXPECT_EQ(Check({extent, Local(1, 'B')}), -1) << start << " " << end;
        EXPECT_EQ(err, kReadLine) << start << " " << end;
        EXPECT_EQ(files.Calls(), (Lines{"stat64 stu", "fopen64 stu rb", "fseeko64 0 0", "fclose"}))
            << start << " " << end;
    }
}

TEST_F(TableCksum, AnExtentWithoutLengthReadsNothing) {
    WriteFile(dir / "stu", "A");
    EXPECT_EQ(Check({Local(0, 0)}), -1);
    EXPECT_EQ(err, kReadLine);
}

TEST_F(TableCksum, AFifoForAUnitIsAUnitThatCannotBeOpened) {
    ASSERT_EQ(::mkfifo((dir / "stu").c_str(), 0600), 0);
    EXPECT_EQ(Check({{.dcid = 70}, Local(1, 'A'), Local(1, 'A')}), -1);
    EXPECT_EQ(err, kObjectLine);
    EXPECT_EQ(files.Calls(), Lines{"stat64 stu"});
}

TEST_F(TableCksum, ALinkToAFifoIsOneToo) {
    ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
    std::filesystem::create_symlink("fifo", dir / "stu");
    EXPECT_EQ(Check({Local(1, 'A')}), -1);
    EXPECT_EQ(err, "");
}

TEST_F(TableCksum, ACharacterDeviceForAUnitIsReadLikeAFile) {
    std::filesystem::create_symlink("/dev/zero", dir / "stu");
    EXPECT_EQ(Check({Local(131072, 0), Local(1, 0, 1 << 20)}), 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(Check({Local(4096, 0), Local(4096, 5)}), -1);
    EXPECT_EQ(err, kChecksumLine);
    std::filesystem::remove(dir / "stu");
    std::filesystem::create_symlink("/dev/null", dir / "stu");
    EXPECT_EQ(Check({Local(4096, 0)}), -1);
    EXPECT_EQ(err, kReadLine);
}

TEST_F(TableCksum, ABlockDeviceForAUnitIsReadLikeAFile) {
    WriteFile(dir / "stu", "A");
    files.ShowAs(dir / "stu", S_IFBLK);
    EXPECT_EQ(Check({Local(1, 'A')}), 0);
    EXPECT_EQ(Check({Local(1, 'B')}), -1);
    EXPECT_EQ(err, kChecksumLine);
}

TEST_F(TableCksum, EachTableLooksAtTheKindOfFileOnce) {
    WriteFile(dir / "stu", "A");
    for (int table = 0; table < 2; ++table) {
        EXPECT_EQ(Check({Local(1, 'A'), Local(1, 'A')}), 0);
        EXPECT_EQ(std::count(files.Calls().begin(), files.Calls().end(), "stat64 stu"), 1);
        EXPECT_EQ(std::count(files.Calls().begin(), files.Calls().end(), "fopen64 stu rb"), 2);
    }
}

TEST_F(TableCksum, TheBufferIsClearBehindEveryWayOut) {
    WriteFile(dir / "stu", std::string(kReadBufferSize, 'A'));
    const std::uint64_t sound = 'A';
    // Each of these follows a read that has filled the buffer; a read or close that finds another
    // byte than zero in it says so.
    for (const StoredExtent& extent :
         {Local(1, sound), Local(1, sound + 1), Local(1, sound, -1), Local(1, sound, 1 << 20)}) {
        Check({Local(131072, WholeBufferOfA()), extent});
        ASSERT_GE(files.Calls().size(), 7U) << "the second extent was reached";
        for (const std::string& line : files.Calls()) {
            EXPECT_EQ(line.find("dirty"), std::string::npos) << line;
        }
    }
}

TEST_F(TableCksum, AnExceptionFromAnyCallReleasesTheCursorTheFileAndTheBuffer) {
    WriteFile(dir / "stu", std::string(kReadBufferSize, 'A'));
    // A read that fills the buffer comes first, so that there is something to be cleared.
    ASSERT_EQ(Check({Local(131072, WholeBufferOfA())}), 0);
    ASSERT_EQ(files.Buffer().size(), 131072U);
    for (const std::string key :
         {"CMappingTable::begin", "CMappingTable::end", "MappingCursor::Equals",
          "MappingCursor::Current", "Ext::GetStartOffset", "Ext::GetEndOffset",
          "Ext::GetDataOffset", "Ext::GetDCID", "Ext::GetSORef", "Ext::GetCksum",
          "MappingCursor::Next"}) {
        SCOPED_TRACE(key);
        script.ThrowSys(key, 5);
        ExpectThrows<SysException>({Local(131072, WholeBufferOfA()), Local(1, 'B')});
        EXPECT_EQ(err, "");
        script.Throw(key, std::runtime_error("other"));
        ExpectThrows<std::runtime_error>({Local(131072, WholeBufferOfA()), Local(1, 'B')});
        EXPECT_EQ(err, "");
        script.On(key, [] {});
    }
}

TEST_F(TableCksum, AnExceptionAtALaterRecordKeepsTheFindingsBeforeIt) {
    WriteFile(dir / "stu", "A");
    script.ThrowSys("Ext::GetDCID t#1", 5);
    ExpectThrows<SysException>({{.dcid = 70}, Local(1, 'A')});
    EXPECT_EQ(err, kObjectLine);
}

}  // namespace

}  // namespace extnode
