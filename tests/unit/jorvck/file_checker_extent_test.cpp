#include <gtest/gtest.h>

#include <boost/filesystem/exception.hpp>
#include <filesystem>
#include <limits>
#include <stdexcept>

#include "storage/exception.h"
#include "tests/interposed/clock.h"
#include "tests/unit/jorvck/file_checker_fixture.h"

namespace file_checker {

namespace {

using Corvane::Kst::Marlow::Jorv::Exception;
using Corvane::Kst::Marlow::Jorv::SysException;
using test_support::Capture;
using test_support::kGiB;
using test_support::StoredExtent;
using test_support::Throws;

using Dcids = std::set<std::uint64_t>;

constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();

/// A checker that shows its state.
class OpenChecker : public FileChecker {
  public:
    using FileChecker::extMapMgr;
    using FileChecker::FileChecker;
    using FileChecker::nullCache;
    using FileChecker::OpenExtentMap;
};

/// Checks the file "/f" of the share, which users see as "/mnt/jorv/2/12/f".
class ExtentData : public FileTest {
  protected:
    void SetUp() override { AddFile("/f"); }

    /// Adds a table of 1 GiB after those that are there, with an extent for each DCID.
    void Table(const std::vector<std::uint64_t>& dcids) {
        auto& tables = Stored().tables;
        const std::uint64_t offset = tables.size() * kGiB;
        std::vector<StoredExtent> extents;
        extents.reserve(dcids.size());
        for (const std::uint64_t dcid : dcids) {
            extents.push_back({.dcid = dcid});
        }
        tables.push_back({.offset = offset, .end = offset + kGiB, .extents = extents});
    }

    test_support::StoredTables& Stored() { return script.tableDirectories[ExtentPath("/f")]; }

    int Check(const Dcids& known = {}, std::int64_t ageLimit = 0) {
        int result = 77;
        const auto captured = Capture([&] {
            FileChecker checker(MetaDir(), "12", ageLimit);
            result = checker.CheckExtentAndData("/f", &known);
        });
        EXPECT_EQ(captured.out, "");
        err = captured.err;
        return result;
    }

    template <typename E>
    void ExpectThrows(const Dcids& known = {}) {
        bool thrown = false;
        err = Capture([&] {
                  thrown = Throws<E>([&] {
                      FileChecker checker(MetaDir(), "12", 0);
                      checker.CheckExtentAndData("/f", &known);
                  });
              }).err;
        EXPECT_TRUE(thrown);
        EXPECT_EQ(err, "");
        EXPECT_EQ(script.Alive("FileExtMapMgr"), 0);
        EXPECT_EQ(script.Alive("MappingCursor"), 0);
    }

    [[nodiscard]] static std::string Reserved(std::uint64_t dcid) {
        return "\n[ERROR]: unexpected dcid:" + std::to_string(dcid) + " file: /mnt/jorv/2/12/f\n";
    }
    [[nodiscard]] static std::string Unknown(std::uint64_t dcid) {
        return "\n[ERROR]: Cannot find dcid: " + std::to_string(dcid) + " file: /mnt/jorv/2/12/f\n";
    }

    std::string err;
};

TEST_F(ExtentData, ASoundFileIsAskedForEverythingInOrderAndPrintsNothing) {
    Table({64, 65});
    Table({});
    EXPECT_EQ(Check({64, 65}), 0);
    EXPECT_EQ(err, "");
    const std::string ext = ExtentPath("/f");
    const std::string ask = "BaseFileExtMapMgr::GetTableForRead " + ext;
    EXPECT_EQ(script.CallsBut({"MappingCursor::Equals", "MappingCursor::Destroy",
                               "MappingCursor::Current", "HeaderFile::HeaderFile",
                               "HeaderFile::~HeaderFile", "CMappingTable::~CMappingTable"}),
              (Lines{"HeaderFile::Load " + HeaderPath("/f"),
                     "JorvUtils::GetShareDir 12",
                     "FileExtMapMgr::newFileExtMapMgr " + ext + " name=\"\"",
                     "FileExtMapMgr::FileExtMapMgr " + ext + " name=\"\" table=null",
                     "FileSystemDaemonConfig::GetInstance",
                     "CMappingTable::Open " + ext + " klfs=0 name=\"\"",
                     "BaseFileExtMapMgr::LoadTables " + ext,
                     "FileExtMapMgr::GetFileSize " + ext,
                     "FileSystemDaemonConfig::GetInstance",
                     "configLock.lock_shared",
                     "configLock.unlock_shared",
                     ask + " 0",
                     "CMappingTable::begin " + ext + "@0",
                     "CMappingTable::end " + ext + "@0",
                     "Ext::GetDCID " + ext + "@0#0",
                     "MappingCursor::Next " + ext + "@0#0",
                     "CMappingTable::end " + ext + "@0",
                     "Ext::GetDCID " + ext + "@0#1",
                     "MappingCursor::Next " + ext + "@0#1",
                     "CMappingTable::end " + ext + "@0",
                     ask + " 1073741824",
                     "CMappingTable::begin " + ext + "@1073741824",
                     "CMappingTable::end " + ext + "@1073741824",
                     ask + " 2147483648",
                     "FileExtMapMgr::~FileExtMapMgr " + ext}));
}

TEST_F(ExtentData, AFileYoungerThanTheLimitIsSkippedInSilence) {
    Table({0});
    const interposed::FixedTime time(1600000000 + 3599);
    EXPECT_EQ(Check({}, 3600), 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(script.Calls({"FileExtMapMgr::newFileExtMapMgr"}), Lines{});
    EXPECT_EQ(Check({}, 3599), 0);
    EXPECT_EQ(err, Reserved(0) + Summary("/f", 9));
}

TEST_F(ExtentData, AMissingHeaderGivesTwoMessagesAndNoSummary) {
    std::filesystem::remove(HeaderPath("/f"));
    EXPECT_EQ(Check(), -1);
    EXPECT_EQ(err, "\n[ERROR]: header " + HeaderPath("/f") +
                       " doesn't exist!\n"
                       "\n[ERROR]: file meta load failed! /mnt/jorv/2/12/f\n");
}

TEST_F(ExtentData, AHeaderThatDoesNotLoadGivesTwoMessages) {
    script.ThrowSys("HeaderFile::Load", 74, "damaged");
    EXPECT_EQ(Check(), -1);
    EXPECT_EQ(err,
              "\n[ERROR]: header file load failed! damaged\n"
              "\n[ERROR]: file meta load failed! /mnt/jorv/2/12/f\n");
}

TEST_F(ExtentData, AMissingExtentDirectoryGivesTwoMessagesAroundTheSummary) {
    std::filesystem::remove_all(ExtentPath("/f"));
    EXPECT_EQ(Check(), -1);
    EXPECT_EQ(err, "\n[ERROR]: extent " + ExtentPath("/f") + " doesn't exist! fg: 3\n" +
                       Summary("/f", 4) + "\n[ERROR]: file meta load failed! /mnt/jorv/2/12/f\n");
    EXPECT_EQ(script.Calls({"FileExtMapMgr::newFileExtMapMgr"}), Lines{});
}

TEST_F(ExtentData, AShareDirectoryThatCannotBeToldLeavesBehindItsFirstMessage) {
    script.ThrowSys("JorvUtils::GetShareDir", 5, "no share directory");
    bool thrown = false;
    const auto captured = Capture([&] {
        FileChecker checker(MetaDir(), "12", 0);
        const Dcids known;
        thrown = Throws<SysException>([&] { checker.CheckExtentAndData("/f", &known); });
    });
    EXPECT_TRUE(thrown);
    EXPECT_EQ(captured.err, "\n[ERROR]: header file load failed! no share directory\n");
}

TEST_F(ExtentData, AMissingDataFileNamesTheSharePathAndMinus22) {
    std::filesystem::remove(ExtentPath("/f") + "/data.mdb");
    EXPECT_EQ(Check(), -2);
    EXPECT_EQ(err,
              "\n[ERROR]: invalid lmdb data path: '/mnt/jorv/2/12/f' -22\n" + Summary("/f", 4));
    EXPECT_EQ(script.Calls({"FileExtMapMgr::newFileExtMapMgr"}), Lines{});
}

TEST_F(ExtentData, AnExtentPathThatIsAFileHasNoDataFile) {
    std::filesystem::remove_all(ExtentPath("/f"));
    test_support::WriteFile(ExtentPath("/f"), "");
    EXPECT_EQ(Check(), -2);
}

TEST_F(ExtentData, TheDataFileNeedsToExistAndNothingMore) {
    std::filesystem::remove(ExtentPath("/f") + "/data.mdb");
    std::filesystem::create_directory(ExtentPath("/f") + "/data.mdb");
    EXPECT_EQ(Check(), 0);
    EXPECT_EQ(err, "");
}

TEST_F(ExtentData, ADataFileWhoseStatusCannotBeReadLeavesByException) {
    std::filesystem::remove(ExtentPath("/f") + "/data.mdb");
    std::filesystem::create_symlink("data.mdb", ExtentPath("/f") + "/data.mdb");
    ExpectThrows<boost::filesystem::filesystem_error>();
}

TEST_F(ExtentData, KlfsIsAskedOnlyWhenTheConfigurationSaysSo) {
    const std::string open = "CMappingTable::Open " + ExtentPath("/f");
    script.klfsPaths = {ExtentPath("/f")};
    EXPECT_EQ(Check(), 0);
    EXPECT_EQ(script.Calls({"IsKlfs"}), Lines{});
    script.KlfsAware(true);
    EXPECT_EQ(Check(), 0);
    script.klfsPaths = {dir / "vol"};
    EXPECT_EQ(Check(), 0);
    EXPECT_EQ(script.Calls({"IsKlfs"}), Lines(2, "IsKlfs " + ExtentPath("/f")));
    EXPECT_EQ(script.Calls({"CMappingTable::Open"}),
              (Lines{open + " klfs=0 name=\"\"", open + " klfs=1 name=\"\"",
                     open + " klfs=0 name=\"\""}));
}

TEST_F(ExtentData, ATableThatDoesNotOpenIsLoadedAllTheSame) {
    Table({63});
    for (const std::int64_t result : {2, -1, 74}) {
        script.Result("CMappingTable::Open", {result});
        EXPECT_EQ(Check(), 0);
        EXPECT_EQ(err, Reserved(63) + Summary("/f", 9));
    }
}

TEST_F(ExtentData, SizesThatDifferAreToldAndNoTableIsRead) {
    Stored().fileSize = 8192;
    Table({0});
    EXPECT_EQ(Check(), -1);
    EXPECT_EQ(err,
              "\n[ERROR]: File size in header and extent doesn't match, file: /mnt/jorv/2/12/f "
              "header size: 4096 extent size: 8192\n" +
                  Summary("/f", 6));
    EXPECT_EQ(script.Calls({"BaseFileExtMapMgr::GetTableForRead"}), Lines{});
    EXPECT_EQ(script.Calls({"configLock.lock_shared"}), Lines{});
}

TEST_F(ExtentData, TheSizeOfTheMessageIsAskedForAgain) {
    script.Result("FileExtMapMgr::GetFileSize", {8192, 9999});
    EXPECT_EQ(Check(), -1);
    EXPECT_EQ(err.substr(0, err.find("\n[ERROR]: File info")),
              "\n[ERROR]: File size in header and extent doesn't match, file: /mnt/jorv/2/12/f "
              "header size: 4096 extent size: 9999");
    EXPECT_EQ(script.Calls({"FileExtMapMgr::GetFileSize"}).size(), 2U);
}

TEST_F(ExtentData, TheSharePathOfTheMessageIsAskedForBeforeTheSize) {
    Stored().fileSize = 8192;
    EXPECT_EQ(Check(), -1);
    const std::string shareDir = "JorvUtils::GetShareDir 12";
    const std::string size = "FileExtMapMgr::GetFileSize " + ExtentPath("/f");
    // The first of each is for the extent path and for the comparison.
    EXPECT_EQ(script.Calls({"JorvUtils::GetShareDir", "FileExtMapMgr::GetFileSize"}),
              (Lines{shareDir, size, shareDir, size}));
}

TEST_F(ExtentData, SizesAreComparedWholeAndAsTheyAre) {
    script.headers[HeaderPath("/f")].size = -1;
    Stored().fileSize = -1;
    EXPECT_EQ(Check(), 0);
    Stored().fileSize = 0xFFFFFFFF;
    EXPECT_EQ(Check(), -1);
    Stored().fileSize = std::numeric_limits<std::int64_t>::min();
    EXPECT_EQ(Check(), -1);
    EXPECT_NE(err.find("header size: -1 extent size: -9223372036854775808\n"), std::string::npos);
}

TEST_F(ExtentData, DcidsBelow64AreUnexpectedThoughAContainerHasTheirNumber) {
    for (const std::uint64_t dcid : {0U, 1U, 62U, 63U}) {
        Stored().tables.clear();
        Table({dcid});
        EXPECT_EQ(Check({dcid}), 0);
        EXPECT_EQ(err, Reserved(dcid) + Summary("/f", 9));
    }
}

TEST_F(ExtentData, DcidsFrom64OnMustBeKnown) {
    for (const std::uint64_t dcid : {std::uint64_t{64}, std::uint64_t{1} << 32U, kMax}) {
        Stored().tables.clear();
        Table({dcid});
        EXPECT_EQ(Check({dcid}), 0);
        EXPECT_EQ(err, "") << dcid;
        EXPECT_EQ(Check({dcid - 1, dcid == kMax ? 64 : dcid + 1}), 0);
        EXPECT_EQ(err, Unknown(dcid) + Summary("/f", 7)) << dcid;
        EXPECT_EQ(Check({}), 0);
        EXPECT_EQ(err, Unknown(dcid) + Summary("/f", 7)) << dcid;
    }
}

TEST_F(ExtentData, ATableGivesOneReportAndTheRestOfItIsNotLookedAt) {
    Table({64, 70, 63, 71});
    EXPECT_EQ(Check({64}), 0);
    EXPECT_EQ(err, Unknown(70) + Summary("/f", 7));
    EXPECT_EQ(script.Calls({"Ext::GetDCID"}).size(), 2U);
    EXPECT_EQ(script.Alive("MappingCursor"), 0);
}

TEST_F(ExtentData, EachTableGivesAReportOfItsOwn) {
    Table({63, 0});
    Table({64});
    Table({64, 70, 71});
    Table({1});
    EXPECT_EQ(Check({64}), 0);
    EXPECT_EQ(err, Reserved(63) + Summary("/f", 9) + Unknown(70) + Summary("/f", 7) + Reserved(1) +
                       Summary("/f", 9));
}

TEST_F(ExtentData, AFileWithoutATableAtOffset0IsAccepted) {
    Table({});
    Table({0});
    Stored().tables.erase(Stored().tables.begin());
    EXPECT_EQ(Check(), 0);
    EXPECT_EQ(err, "");
}

TEST_F(ExtentData, TablesBehindTheFilesSizeAreLookedAtToo) {
    for (int table = 0; table < 4; ++table) {
        Table({64});
    }
    Table({65});
    EXPECT_EQ(Check({64}), 0);
    EXPECT_EQ(err, Unknown(65) + Summary("/f", 7)) << "the size is 4096, the table at 4 GiB";
}

TEST_F(ExtentData, TheSpanIsReadOnceForAllTables) {
    script.TableSpanGiBPerHold({2, 1});
    Stored().tables = {{.offset = 0, .end = 8 * kGiB}};
    EXPECT_EQ(Check(), 0);
    const std::string ask = "BaseFileExtMapMgr::GetTableForRead " + ExtentPath("/f");
    EXPECT_EQ(script.Calls({"BaseFileExtMapMgr::GetTableForRead"}),
              (Lines{ask + " 0", ask + " 2147483648", ask + " 4294967296", ask + " 6442450944",
                     ask + " 8589934592"}));
    EXPECT_EQ(script.Calls({"configLock.lock_shared"}).size(), 1U);
}

TEST_F(ExtentData, WithASpanOfZeroTheSameTableIsAskedForAgainAndAgain) {
    script.TableSpanGiB(0);
    Table({});
    script.Result("BaseFileExtMapMgr::GetTableForRead", {0, 0, 0, 0, 1});
    EXPECT_EQ(Check(), 0);
    EXPECT_EQ(script.Calls({"BaseFileExtMapMgr::GetTableForRead"}),
              Lines(5, "BaseFileExtMapMgr::GetTableForRead " + ExtentPath("/f") + " 0"));
}

TEST_F(ExtentData, TheLargestSpanIsNotCutShort) {
    script.TableSpanGiB(std::numeric_limits<std::uint32_t>::max());
    EXPECT_EQ(Check(), 0);
    Stored().tables = {{.offset = 0, .end = 1}};
    EXPECT_EQ(Check(), 0);
    EXPECT_EQ(script.Calls({"BaseFileExtMapMgr::GetTableForRead"}).back(),
              "BaseFileExtMapMgr::GetTableForRead " + ExtentPath("/f") + " 4611686017353646080");
}

TEST_F(ExtentData, ATableThatHandsOutNothingForItsEndIsWalkedToIt) {
    script.nullEnd = true;
    Table({64});
    Table({});
    Table({70});
    EXPECT_EQ(Check({64}), 0);
    EXPECT_EQ(err, Unknown(70) + Summary("/f", 7));
}

TEST_F(ExtentData, ATableThatHandsOutNothingForItsBeginAloneIsEmpty) {
    script.nullBegin = true;
    Table({});
    Table({70});
    EXPECT_EQ(Check({64}), 0);
    EXPECT_EQ(err, Unknown(70) + Summary("/f", 7));
}

TEST_F(ExtentData, FailuresOfTheExtentMapPassAndReleaseIt) {
    Table({64});
    for (const std::string key :
         {"FileExtMapMgr::newFileExtMapMgr", "FileSystemDaemonConfig::GetInstance",
          "CMappingTable::Open", "BaseFileExtMapMgr::LoadTables", "FileExtMapMgr::GetFileSize",
          "BaseFileExtMapMgr::GetTableForRead", "CMappingTable::begin", "CMappingTable::end",
          "MappingCursor::Equals", "MappingCursor::Current", "Ext::GetDCID",
          "MappingCursor::Next"}) {
        SCOPED_TRACE(key);
        script.ThrowSys(key, 74);
        ExpectThrows<SysException>({64});
        script.Throw(key, Exception("configuration"));
        ExpectThrows<Exception>({64});
        script.Throw(key, std::runtime_error("other"));
        ExpectThrows<std::runtime_error>({64});
        script.On(key, [] {});
    }
}

TEST_F(ExtentData, TheManagerDiesBeforeTheDataCacheThatItKnows) {
    const OpenChecker checker("", "12", 0);
    // Members die in the reverse of the order in which they lie.
    EXPECT_LT(static_cast<const void*>(&checker.nullCache),
              static_cast<const void*>(&checker.extMapMgr));
}

TEST_F(ExtentData, TheManagerIsKeptUntilTheCheckerDies) {
    Table({64});
    {
        FileChecker checker(MetaDir(), "12", 0);
        const Dcids known = {64};
        EXPECT_EQ(checker.CheckExtentAndData("/f", &known), 0);
        EXPECT_EQ(script.Alive("FileExtMapMgr"), 1);
    }
    EXPECT_EQ(script.Alive("FileExtMapMgr"), 0);
    EXPECT_EQ(script.Calls({"FileExtMapMgr::~FileExtMapMgr"}).size(), 1U);
}

TEST_F(ExtentData, TheManagerIsKeptBehindAnExceptionToo) {
    script.KlfsAware(true);
    for (const std::string key : {"BaseFileExtMapMgr::LoadTables", "CMappingTable::Open", "IsKlfs",
                                  "FileSystemDaemonConfig::GetInstance"}) {
        SCOPED_TRACE(key);
        script.ThrowSys(key, 74);
        {
            FileChecker checker(MetaDir(), "12", 0);
            const Dcids known;
            EXPECT_THROW(checker.CheckExtentAndData("/f", &known), SysException);
            EXPECT_EQ(script.Alive("FileExtMapMgr"), 1);
        }
        EXPECT_EQ(script.Alive("FileExtMapMgr"), 0);
    }
}

TEST_F(ExtentData, AnEmptyExtentPathIsToldAndSummedUp) {
    // No header gives an empty path: it always holds "map".
    OpenChecker checker(MetaDir(), "12", 0);
    FileInfo info = {.size = 1, .mtim = 2, .fg = 3, .ext = "", .path = "/f"};
    int result = 77;
    const auto captured = Capture([&] { result = checker.OpenExtentMap("/f", &info); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(info.ec, JorvCk::kNoExtentPath);
    EXPECT_EQ(captured.err,
              "\n[ERROR]: extent doesn't exist for path: /mnt/jorv/2/12/f\n"
              "[ERROR]: File information, path: /f ec: 5 [ mtim: 2 size: 1 fg: 3 ext:  extl: "
              "local ]\n");
    EXPECT_EQ(script.Calls({"FileExtMapMgr::newFileExtMapMgr"}), Lines{});
}

}  // namespace

}  // namespace file_checker
