#include <boost/filesystem/exception.hpp>
#include <boost/filesystem/operations.hpp>
#include <csignal>
#include <cstdint>
#include <iostream>
#include <limits>
#include <new>
#include <streambuf>

#include "jorvck/fs_check_meta.h"
#include "storage/exception.h"
#include "tests/fake/fake_storage_test.h"
#include "tests/support/captured_streams.h"
#include "tests/support/temp_dir.h"

namespace {

using Corvane::Kst::Marlow::Jorv::Exception;
using Corvane::Kst::Marlow::JorvCk::FsCheckMeta;
using Strings = std::vector<std::string>;

constexpr const char* kLoadFailed = "[ERROR]: extent file load failed!\n";
constexpr long kUntouched = -4711;

class ExtentMetadata : public storage_fake::FakeStorageTest {
  protected:
    ExtentMetadata() : map(share / "map/f") {}

    int Check() {
        int result = 1234;
        transId = kUntouched;
        const test_support::Captured written =
            test_support::Capture([&] { result = FsCheckMeta::CheckExts(map, &transId); });
        EXPECT_EQ(written.out, "");
        err = written.err;
        return result;
    }

    /// Expects the failure line, -1 and an untouched transaction id.
    void ExpectFailure() {
        EXPECT_EQ(Check(), -1);
        EXPECT_EQ(err, kLoadFailed);
        EXPECT_EQ(transId, kUntouched);
        script.ExpectNothingLeft();
    }

    test_support::TempDir share;
    const std::string map;
    long transId = kUntouched;
    std::string err;
};

using AnExtentFile = ExtentMetadata;

TEST_F(AnExtentFile, ThatLoadsHandsBackItsTransactionId) {
    script.extentFiles[map] = {.transId = 42, .extents = {{.dcid = 1}}};
    EXPECT_EQ(Check(), 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(transId, 42);
    EXPECT_EQ(script.Calls(),
              (Strings{"CreateMappingTable \"\"", "JorvConfig::GetInstance",
                       "ExtentFile::ExtentFile", "ExtentFile::Load " + map,
                       "ExtentFile::~ExtentFile", "CMappingTable::~CMappingTable " + map}));
}

TEST_F(AnExtentFile, HandsBackTransactionIdsOf64Bits) {
    for (const std::int64_t id : {std::numeric_limits<std::int64_t>::min(), std::int64_t{0},
                                  std::numeric_limits<std::int64_t>::max()}) {
        script.extentFiles[map] = {.transId = id};
        EXPECT_EQ(Check(), 0);
        EXPECT_EQ(transId, id);
    }
}

TEST_F(AnExtentFile, IsLoadedWithoutALookAtTheFileSystem) {
    test_support::MakeDirs(map);
    script.extentFiles[map] = {.transId = 42};
    EXPECT_EQ(Check(), 0);
    EXPECT_EQ(transId, 42);
}

TEST_F(AnExtentFile, ThatIsMissingFails) {
    ExpectFailure();
    EXPECT_EQ(script.Calls(),
              (Strings{"CreateMappingTable \"\"", "JorvConfig::GetInstance",
                       "ExtentFile::ExtentFile", "ExtentFile::Load " + map,
                       "ExtentFile::~ExtentFile", "CMappingTable::~CMappingTable new"}));
}

TEST_F(AnExtentFile, FailsAtALibraryExceptionOfEveryStep) {
    script.extentFiles[map] = {.transId = 42};
    for (const char* const call : {"ExtentFile::Load", "ExtentFile::ExtentFile",
                                   "JorvConfig::GetInstance", "CreateMappingTable"}) {
        SCOPED_TRACE(call);
        script.ThrowSys(call, 74);
        ExpectFailure();
    }
}

TEST_F(AnExtentFile, LetsOtherExceptionsOutOfEveryStep) {
    script.extentFiles[map] = {.transId = 42};
    for (const char* const call : {"ExtentFile::Load", "ExtentFile::ExtentFile",
                                   "JorvConfig::GetInstance", "CreateMappingTable"}) {
        SCOPED_TRACE(call);
        script.Throw(call, Exception("no finding"));
        EXPECT_THROW(Check(), Exception);
        script.Throw(call, std::bad_alloc());
        EXPECT_THROW(Check(), std::bad_alloc);
        EXPECT_EQ(transId, kUntouched);
        script.ExpectNothingLeft();
    }
}

TEST_F(AnExtentFile, IsHandedAMissingTableAsItIs) {
    script.noTable = true;
    script.extentFiles[map] = {.transId = 42};
    ExpectFailure();
    EXPECT_EQ(script.Calls({"ExtentFile::Load"}), (Strings{"ExtentFile::Load " + map}));
}

class AMappingTable : public ExtentMetadata {
  protected:
    AMappingTable() {
        script.UseFileExtMap(1);
        test_support::MakeDirs(map);
    }
};

TEST_F(AMappingTable, ThatOpensPassesAndIsNotWalked) {
    script.tableDirectories[map] = {
        .fileSize = 0,
        .tables = {{.offset = 0, .end = 1, .extents = {{.dcid = 1}}, .dcids = {}, .bloom = {}}}};
    EXPECT_EQ(Check(), 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(transId, kUntouched);
    EXPECT_EQ(script.Calls(), (Strings{"CreateMappingTable \"\"", "JorvConfig::GetInstance",
                                       "CMappingTable::Open " + map + " klfs=0 name=\"\"",
                                       "CMappingTable::~CMappingTable " + map}));
}

TEST_F(AMappingTable, OfADirectoryThatIsMissingOrAFilePassesUnopened) {
    const Strings calls = {"CreateMappingTable \"\"", "JorvConfig::GetInstance",
                           "CMappingTable::~CMappingTable new"};
    boost::filesystem::remove(map);
    EXPECT_EQ(Check(), 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(transId, kUntouched);
    EXPECT_EQ(script.Calls(), calls);
    test_support::WriteFile(map, "");
    EXPECT_EQ(Check(), 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(script.Calls({"CMappingTable::Open"}), Strings{});
}

TEST_F(AMappingTable, ReachedThroughALinkIsOpened) {
    boost::filesystem::remove(map);
    test_support::MakeDirs(share / "elsewhere");
    boost::filesystem::create_directory_symlink(share / "elsewhere", map);
    ExpectFailure();
}

TEST_F(AMappingTable, ThatDoesNotOpenFailsWhateverTheCode) {
    for (const std::int32_t code : {1, -1, 74, 256}) {
        script.Result("CMappingTable::Open", {code});
        ExpectFailure();
    }
}

/// Keeps how many tables were alive at each write to it.
class TablesAtWrites : public std::streambuf {
  public:
    std::vector<int> alive;

  protected:
    std::streamsize xsputn(const char* /*text*/, std::streamsize size) override {
        alive.push_back(storage_fake::Script::Current().Alive("CMappingTable"));
        return size;
    }
};

TEST_F(AMappingTable, ThatDoesNotOpenIsReportedBeforeItIsDestroyed) {
    TablesAtWrites writes;
    std::streambuf* const before = std::cerr.rdbuf(&writes);
    EXPECT_EQ(FsCheckMeta::CheckExts(map, &transId), -1);
    std::cerr.rdbuf(before);
    EXPECT_EQ(writes.alive, std::vector<int>{1});
}

TEST_F(AMappingTable, FailsAtALibraryExceptionOfEveryStep) {
    for (const char* const call :
         {"CMappingTable::Open", "JorvConfig::GetInstance", "CreateMappingTable"}) {
        SCOPED_TRACE(call);
        script.ThrowSys(call, 74);
        ExpectFailure();
    }
}

TEST_F(AMappingTable, LetsOtherExceptionsOutOfEveryStep) {
    for (const char* const call :
         {"CMappingTable::Open", "JorvConfig::GetInstance", "CreateMappingTable"}) {
        SCOPED_TRACE(call);
        script.Throw(call, Exception("no finding"));
        EXPECT_THROW(Check(), Exception);
        script.ExpectNothingLeft();
    }
}

TEST_F(AMappingTable, WhosePathHasNoReadableStatusRaises) {
    boost::filesystem::remove(map);
    boost::filesystem::create_symlink(map, map);
    EXPECT_THROW(Check(), boost::filesystem::filesystem_error);
    EXPECT_EQ(transId, kUntouched);
}

using AMappingTableDeathTest = AMappingTable;

TEST_F(AMappingTableDeathTest, ThatTheLibraryDidNotMakeEndsTheProcessWithAMessage) {
    script.noTable = true;
    EXPECT_EXIT(FsCheckMeta::CheckExts(map, &transId), testing::KilledBySignal(SIGABRT),
                "^jorvck: the storage library made no mapping table\n$");
}

TEST_F(AMappingTable, ThatTheLibraryDidNotMakeIsNotMissedWithoutADirectory) {
    script.noTable = true;
    boost::filesystem::remove(map);
    EXPECT_EQ(Check(), 0);
    EXPECT_EQ(err, "");
}

}  // namespace
