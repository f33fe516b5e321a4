#include <sys/stat.h>

#include <boost/filesystem/exception.hpp>
#include <boost/filesystem/operations.hpp>
#include <cstdint>
#include <limits>
#include <new>

#include "jorvck/fs_check_meta.h"
#include "storage/exception.h"
#include "tests/fake/fake_storage_test.h"
#include "tests/support/captured_streams.h"
#include "tests/support/temp_dir.h"
#include "tests/support/unprivileged.h"

namespace {

namespace fs = boost::filesystem;
using Corvane::Kst::Marlow::Jorv::Exception;
using Corvane::Kst::Marlow::JorvCk::FsCheckMeta;
using Strings = std::vector<std::string>;

class AShare : public storage_fake::FakeStorageTest {
  protected:
    /// A header file on disk, and what the library says about it and its extent file.
    void Add(const std::string& name, std::int64_t headerTransId, std::int64_t extentTransId) {
        test_support::WriteFile(share / ("head/" + name), "");
        script.headers[share / ("head/" + name)] = {.transId = headerTransId};
        script.extentFiles[share / ("map/" + name)] = {.transId = extentTransId};
    }

    /// What the check of `path` writes on standard error.
    static std::string Check(const std::string& path) {
        FsCheckMeta check(path);
        const test_support::Captured written = test_support::Capture([&] { check.CheckMeta(); });
        EXPECT_EQ(written.out, "");
        return written.err;
    }

    std::string Check() const { return Check(share.Path()); }

    [[nodiscard]] std::string HeaderLines(const std::string& path) const {
        return "[ERROR]: header file load failed!\n[ERROR]: corrupt header file " + path +
               " found\n";
    }

    [[nodiscard]] std::string ExtentLines(const std::string& path) const {
        return "[ERROR]: extent file load failed!\n[ERROR]: corrupt extent file " + path +
               " found\n";
    }

    static constexpr const char* kMismatch =
        "[ERROR]: the transID for header file and extent file mismatch\n";

    test_support::TempDir share;
};

TEST_F(AShare, ThatIsEmptyIsSilent) {
    EXPECT_EQ(Check(), "");
    EXPECT_EQ(script.Calls(), Strings{});
}

TEST_F(AShare, WithAnEmptyPathIsNotWalked) {
    EXPECT_EQ(Check(""), "");
    EXPECT_EQ(script.Calls(), Strings{});
}

TEST_F(AShare, WithoutAHeadDirectoryIsSilent) {
    test_support::WriteFile(share / "map/f", "");
    test_support::WriteFile(share / "stu/a/f", "");
    test_support::WriteFile(share / "vcopy.dat", "");
    EXPECT_EQ(Check(), "");
    EXPECT_EQ(script.Calls(), Strings{});
}

TEST_F(AShare, WithHeadInAFilesOwnNameOnlyIsSilent) {
    test_support::WriteFile(share / "head", "");
    test_support::WriteFile(share / "x/header", "");
    test_support::WriteFile(share / "ahead/f", "");
    EXPECT_EQ(Check(), "");
    EXPECT_EQ(script.Calls(), Strings{});
}

TEST_F(AShare, WithASoundPairIsSilentAndLoadsHeaderThenExtents) {
    Add("f", 5, 5);
    EXPECT_EQ(Check(), "");
    EXPECT_EQ(script.Calls(),
              (Strings{"HeaderFile::HeaderFile", "HeaderFile::Load " + share.Path() + "/head/f",
                       "HeaderFile::~HeaderFile", "CreateMappingTable \"\"",
                       "JorvConfig::GetInstance", "ExtentFile::ExtentFile",
                       "ExtentFile::Load " + share.Path() + "/map/f", "ExtentFile::~ExtentFile",
                       "CMappingTable::~CMappingTable " + share.Path() + "/map/f",
                       "JorvConfig::GetInstance", "JorvConfig::GetInstance"}));
}

TEST_F(AShare, OfMappingTablesIsCheckedInTheSameOrderAndComparesNoTransactionIds) {
    Add("f", 5, 6);
    test_support::MakeDirs(share / "map/f");
    script.UseFileExtMap(1);
    script.DcidBloomEnabled(true);
    script.tableDirectories[share / "map/f"] = {};
    EXPECT_EQ(Check(), "");
    const std::string map = share.Path() + "/map/f";
    EXPECT_EQ(
        script.Calls(),
        (Strings{"HeaderFile::HeaderFile", "HeaderFile::Load " + share.Path() + "/head/f",
                 "HeaderFile::~HeaderFile", "CreateMappingTable \"\"", "JorvConfig::GetInstance",
                 "CMappingTable::Open " + map + " klfs=0 name=\"\"",
                 "CMappingTable::~CMappingTable " + map, "JorvConfig::GetInstance",
                 "FileSystemDaemonConfig::GetInstance", "configLock.lock_shared",
                 "configLock.unlock_shared",
                 "FileExtMapMgr::FileExtMapMgr " + map + " name=\"\" table=null",
                 "BaseFileExtMapMgr::LoadTables " + map, "FileSystemDaemonConfig::GetInstance",
                 "configLock.lock_shared", "configLock.unlock_shared",
                 "BaseFileExtMapMgr::GetTableForRead " + map + " 0",
                 "FileExtMapMgr::~FileExtMapMgr " + map, "JorvConfig::GetInstance"}));
}

TEST_F(AShare, PairsAHeaderInADeepDirectoryWithTheSamePlaceInTheMapTree) {
    Add("a/b/f", 5, 5);
    EXPECT_EQ(Check(), "");
    EXPECT_EQ(script.Calls({"HeaderFile::Load", "ExtentFile::Load"}),
              (Strings{"HeaderFile::Load " + share.Path() + "/head/a/b/f",
                       "ExtentFile::Load " + share.Path() + "/map/a/b/f"}));
}

TEST_F(AShare, ReplacesTheLastHeadOfTheParentPath) {
    test_support::WriteFile(share / "head/head/x/f", "");
    script.headers[share / "head/head/x/f"] = {};
    script.extentFiles[share / "head/map/x/f"] = {};
    EXPECT_EQ(Check(), "");
    EXPECT_EQ(script.Calls({"ExtentFile::Load"}),
              (Strings{"ExtentFile::Load " + share.Path() + "/head/map/x/f"}));
}

TEST_F(AShare, LooksForHeadInTheParentAloneEvenWhereTheNameHoldsIt) {
    test_support::WriteFile(share / "head/headline", "");
    script.headers[share / "head/headline"] = {};
    script.extentFiles[share / "map/headline"] = {};
    EXPECT_EQ(Check(), "");
}

TEST_F(AShare, MatchesHeadAsTextInALongerName) {
    test_support::WriteFile(share / "headers/f", "");
    script.headers[share / "headers/f"] = {};
    script.extentFiles[share / "mapers/f"] = {};
    EXPECT_EQ(Check(), "");
    EXPECT_EQ(script.Calls({"HeaderFile::Load", "ExtentFile::Load"}),
              (Strings{"HeaderFile::Load " + share.Path() + "/headers/f",
                       "ExtentFile::Load " + share.Path() + "/mapers/f"}));
}

TEST_F(AShare, BelowADirectoryThatBeginsWithHeadTakesEveryFileForAHeader) {
    const std::string path = share / "headroom/s1";
    test_support::WriteFile(path + "/map/f", "");
    script.headers[path + "/map/f"] = {};
    script.extentFiles[share / "maproom/s1/map/f"] = {};
    EXPECT_EQ(Check(path), "");
    EXPECT_EQ(script.Calls({"HeaderFile::Load", "ExtentFile::Load"}),
              (Strings{"HeaderFile::Load " + path + "/map/f",
                       "ExtentFile::Load " + share.Path() + "/maproom/s1/map/f"}));
}

TEST_F(AShare, NamesFilesByTheSharePathWithoutTheSlashesAtItsEnd) {
    test_support::WriteFile(share / "head/f", "");
    EXPECT_EQ(Check(share.Path() + "/"), HeaderLines(share.Path() + "/head/f"));
    EXPECT_EQ(Check(share.Path() + "//"), HeaderLines(share.Path() + "/head/f"));
    EXPECT_EQ(Check(share.Path() + "/."), HeaderLines(share.Path() + "/./head/f"));
}

TEST_F(AShare, NeverTakesADirectoryOrALinkToOneForAHeader) {
    test_support::MakeDirs(share / "head/d/e");
    test_support::WriteFile(share / "elsewhere/f", "");
    fs::create_directory_symlink(share / "elsewhere", share / "head/link");
    EXPECT_EQ(Check(), "");
    EXPECT_EQ(script.Calls(), Strings{});
}

TEST_F(AShare, TakesABrokenLinkForAHeaderThatDoesNotLoad) {
    test_support::MakeDirs(share / "head");
    fs::create_symlink(share / "nothing", share / "head/broken");
    EXPECT_EQ(Check(), HeaderLines(share.Path() + "/head/broken"));
}

TEST_F(AShare, TakesALinkThatLeadsThroughAFileForAHeaderThatDoesNotLoad) {
    test_support::WriteFile(share / "file", "");
    test_support::MakeDirs(share / "head");
    fs::create_symlink(share / "file/x", share / "head/l");
    EXPECT_EQ(Check(), HeaderLines(share.Path() + "/head/l"));
}

TEST_F(AShare, TakesALinkToAFileAndAPipeForHeaders) {
    Add("link", 5, 6);
    fs::remove(share / "head/link");
    test_support::WriteFile(share / "target", "");
    fs::create_symlink(share / "target", share / "head/link");
    EXPECT_EQ(Check(), kMismatch);
    fs::remove(share / "head/link");
    ASSERT_EQ(::mkfifo((share / "head/pipe").c_str(), 0600), 0);
    EXPECT_EQ(Check(), HeaderLines(share.Path() + "/head/pipe"));
}

TEST_F(AShare, WithAHeaderThatDoesNotLoadReportsItAndGoesNoFurther) {
    Add("f", 5, 5);
    script.ThrowSys("HeaderFile::Load " + share.Path() + "/head/f", 74, "detail");
    EXPECT_EQ(Check(), HeaderLines(share.Path() + "/head/f"));
    EXPECT_EQ(script.Calls(),
              (Strings{"HeaderFile::HeaderFile", "HeaderFile::Load " + share.Path() + "/head/f",
                       "HeaderFile::~HeaderFile"}));
}

TEST_F(AShare, WithAHeaderObjectThatCannotBeMadeReportsTheHeader) {
    Add("f", 5, 5);
    script.ThrowSys("HeaderFile::HeaderFile", 12);
    EXPECT_EQ(Check(), HeaderLines(share.Path() + "/head/f"));
    EXPECT_EQ(script.Calls(), (Strings{"HeaderFile::HeaderFile"}));
}

TEST_F(AShare, WithAMissingExtentFileReportsIt) {
    Add("f", 5, 5);
    script.extentFiles.clear();
    EXPECT_EQ(Check(), ExtentLines(share.Path() + "/map/f"));
}

TEST_F(AShare, OfMappingTablesWithoutAMapDirectoryIsSilent) {
    Add("f", 5, 6);
    script.UseFileExtMap(1);
    script.DcidBloomEnabled(true);
    EXPECT_EQ(Check(), "");
}

TEST_F(AShare, WithATableThatDoesNotOpenReportsTheExtentDirectory) {
    Add("f", 5, 5);
    test_support::MakeDirs(share / "map/f");
    script.UseFileExtMap(7);
    EXPECT_EQ(Check(), ExtentLines(share.Path() + "/map/f"));
}

TEST_F(AShare, WithAnUnlistedDcidReportsTheTablesAndComparesNothing) {
    Add("f", 5, 5);
    test_support::MakeDirs(share / "map/f");
    script.UseFileExtMap(1);
    script.DcidBloomEnabled(true);
    script.tableDirectories[share / "map/f"] = {
        .fileSize = 1,
        .tables = {{.offset = 0, .end = 1, .extents = {{.dcid = 70}}, .dcids = {}, .bloom = {}}}};
    EXPECT_EQ(Check(),
              "[ERROR]: dcidlist file contains dcid which is not in table! 70\n"
              "[ERROR]: corrupt dcidlist file or table file " +
                  share.Path() + "/map/f found\n");
    EXPECT_EQ(script.Calls({"JorvConfig::GetInstance"}).size(), 2U)
        << "the layout is not asked for once more to compare transaction ids";
}

TEST_F(AShare, WithABloomMismatchPrintsItAndGoesOn) {
    Add("f", 5, 5);
    test_support::MakeDirs(share / "map/f");
    script.UseFileExtMap(1);
    script.DcidBloomEnabled(true);
    script.tableDirectories[share / "map/f"] = {
        .fileSize = 1,
        .tables = {{.offset = 0,
                    .end = 1,
                    .extents = {{.dcid = 70, .fp = test_support::Fp(0xab)}},
                    .dcids = {{70, 0}},
                    .bloom = {}}}};
    std::string digits;
    for (int i = 0; i < 32; ++i) {
        digits += "ab";
    }
    EXPECT_EQ(Check(),
              "[ERROR]: dcidlist file contains fp which is not in table! " + digits + "\n");
    EXPECT_EQ(script.Calls({"JorvConfig::GetInstance"}).size(), 3U);
}

TEST_F(AShare, WithDifferentTransactionIdsSaysSoWithoutAPath) {
    Add("f", 5, 6);
    EXPECT_EQ(Check(), kMismatch);
}

TEST_F(AShare, ComparesTransactionIdsInTheLayoutZeroAlone) {
    Add("f", 5, 6);
    for (const std::int32_t layout : {1, 2, 7, -1, std::numeric_limits<std::int32_t>::min()}) {
        script.UseFileExtMap(layout);
        EXPECT_EQ(Check(), "") << layout;
    }
    script.UseFileExtMap(0);
    EXPECT_EQ(Check(), kMismatch);
}

TEST_F(AShare, ComparesTransactionIdsAsSigned64BitNumbers) {
    constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
    constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
    Add("f", kLeast, kLeast);
    EXPECT_EQ(Check(), "");
    Add("f", kMost, kMost);
    EXPECT_EQ(Check(), "");
    Add("f", 1, (std::int64_t{1} << 32) + 1);
    EXPECT_EQ(Check(), kMismatch);
    Add("f", -1, std::numeric_limits<std::uint32_t>::max());
    EXPECT_EQ(Check(), kMismatch);
}

TEST_F(AShare, WithManySoundPairsChecksThemAll) {
    for (int i = 0; i < 20; ++i) {
        Add("d" + std::to_string(i % 3) + "/f" + std::to_string(i), i, i);
    }
    EXPECT_EQ(Check(), "");
    EXPECT_EQ(script.Calls({"HeaderFile::Load"}).size(), 20U);
    EXPECT_EQ(script.Calls({"ExtentFile::Load"}).size(), 20U);
}

TEST_F(AShare, WithTwoInconsistentHeadersReportsTheFirstOneMet) {
    Add("a", 1, 1);
    Add("b", 1, 1);
    script.headers.clear();
    const std::string written = Check();
    const Strings loads = script.Calls({"HeaderFile::Load"});
    ASSERT_EQ(loads.size(), 1U);
    EXPECT_EQ(written, HeaderLines(loads[0].substr(std::string("HeaderFile::Load ").size())));
}

TEST_F(AShare, StopsAtEachKindOfInconsistencyBeforeTheNextHeader) {
    Add("a", 1, 2);
    Add("b", 1, 2);
    EXPECT_EQ(Check(), kMismatch);
    EXPECT_EQ(script.Calls({"HeaderFile::Load"}).size(), 1U);

    script.extentFiles.clear();
    const std::string written = Check();
    EXPECT_TRUE(written == ExtentLines(share.Path() + "/map/a") ||
                written == ExtentLines(share.Path() + "/map/b"))
        << written;
    EXPECT_EQ(script.Calls({"HeaderFile::Load"}).size(), 2U);
}

TEST_F(AShare, ThatIsMissingOrNoDirectoryRaises) {
    EXPECT_THROW(Check(share / "missing"), fs::filesystem_error);
    test_support::WriteFile(share / "file", "");
    EXPECT_THROW(Check(share / "file"), fs::filesystem_error);
}

TEST_F(AShare, WithALinkLoopAnywhereRaises) {
    test_support::MakeDirs(share / "stu");
    fs::create_symlink(share / "stu/loop", share / "stu/loop");
    EXPECT_THROW(Check(), fs::filesystem_error);
}

TEST_F(AShare, WithAnUnreadableSubdirectoryRaises) {
    test_support::MakeDirs(share / "head/closed");
    ASSERT_EQ(::chmod(share.Path().c_str(), 0755), 0);
    ASSERT_EQ(::chmod((share / "head/closed").c_str(), 0), 0);
    {
        const test_support::Unprivileged user;
        EXPECT_THROW(Check(), fs::filesystem_error);
    }
    ASSERT_EQ(::chmod((share / "head/closed").c_str(), 0700), 0);
}

TEST_F(AShare, LetsEveryOtherExceptionOut) {
    Add("f", 5, 5);
    script.Throw("HeaderFile::Load", Exception("no finding"));
    EXPECT_THROW(Check(), Exception);
    script.Throw("HeaderFile::Load", std::bad_alloc());
    EXPECT_THROW(Check(), std::bad_alloc);
    script.Throw("HeaderFile::HeaderFile", std::bad_alloc());
    EXPECT_THROW(Check(), std::bad_alloc);
    EXPECT_EQ(script.Calls({"CreateMappingTable"}), Strings{});
}

TEST_F(AShare, LetsAnExceptionOfTheExtentCheckOut) {
    Add("f", 5, 5);
    script.Throw("ExtentFile::Load", Exception("no finding"));
    EXPECT_THROW(Check(), Exception);
}

TEST_F(AShare, LetsALibraryExceptionOfTheDcidCheckOut) {
    using Corvane::Kst::Marlow::Jorv::SysException;
    Add("f", 5, 5);
    test_support::MakeDirs(share / "map/f");
    script.UseFileExtMap(1);
    script.DcidBloomEnabled(true);
    script.tableDirectories[share / "map/f"] = {};
    script.ThrowSys("BaseFileExtMapMgr::LoadTables", 74);
    EXPECT_THROW(Check(), SysException);
}

}  // namespace
