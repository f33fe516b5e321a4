#include <gtest/gtest.h>

#include <boost/filesystem/exception.hpp>
#include <filesystem>
#include <limits>
#include <stdexcept>
#include <tuple>
#include <type_traits>

#include "storage/exception.h"
#include "tests/interposed/clock.h"
#include "tests/unit/jorvck/file_checker_fixture.h"

namespace file_checker {

namespace {

using Corvane::Kst::Marlow::Jorv::Exception;
using test_support::Capture;
using test_support::Throws;
using test_support::WriteFile;

constexpr std::int64_t kNow = 1700000000;
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();

auto Fields(const FileInfo& info) {
    return std::tie(info.size, info.mtim, info.fg, info.ext, info.path, info.extl, info.ec);
}

/// Loads the meta information of "/a/f" of the share.
class FileMeta : public FileTest {
  protected:
    int Get(std::int64_t ageLimit = 0) {
        FileChecker checker(MetaDir(), "12", ageLimit);
        int result = 77;
        captured = Capture([&] { result = checker.GetFileMetaInfo("/a/f", &info); });
        EXPECT_EQ(captured.out, "");
        return result;
    }

    template <typename E>
    void ExpectThrows() {
        FileChecker checker(MetaDir(), "12", 0);
        bool thrown = false;
        captured =
            Capture([&] { thrown = Throws<E>([&] { checker.GetFileMetaInfo("/a/f", &info); }); });
        EXPECT_TRUE(thrown);
        EXPECT_EQ(captured.err, "");
        EXPECT_EQ(script.Alive("HeaderFile"), 0);
    }

    test_support::StoredHeader& Header() { return script.headers[HeaderPath("/a/f")]; }

    FileInfo info;
    test_support::Captured captured;
};

TEST_F(FileMeta, ASoundFileFillsTheRecordAndPrintsNothing) {
    AddFile("/a/f");
    EXPECT_EQ(Get(), 0);
    EXPECT_EQ(captured.err, "");
    EXPECT_EQ(Fields(info), Fields(FileInfo{.size = 4096,
                                            .mtim = 1600000000,
                                            .fg = 3,
                                            .ext = ExtentPath("/a/f"),
                                            .path = "/a/f",
                                            .extl = false,
                                            .ec = JorvCk::kNoFault}));
    EXPECT_EQ(script.Calls(),
              (Lines{"HeaderFile::HeaderFile", "HeaderFile::Load " + HeaderPath("/a/f"),
                     "JorvUtils::GetShareDir 12", "HeaderFile::~HeaderFile"}));
}

TEST_F(FileMeta, ARecordStartsEmpty) {
    EXPECT_EQ(Fields(FileInfo{}), std::make_tuple(0, 0, 0U, "", "", false, JorvCk::kNoFault));
}

TEST_F(FileMeta, EveryRecordedValueIsCopiedAsItIs) {
    AddFile("/a/f");
    Header() = {.size = kMin,
                .mtime = kMax,
                .fg = std::numeric_limits<std::uint64_t>::max(),
                .isDev = true,
                .extentLocation = dir / "vol/"};
    EXPECT_EQ(Get(), 0);
    EXPECT_EQ(info.size, kMin);
    EXPECT_EQ(info.mtim, kMax);
    EXPECT_EQ(info.fg, std::numeric_limits<std::uint64_t>::max());
    EXPECT_TRUE(info.extl);
    EXPECT_EQ(info.ext, ExtentPath("/a/f")) << "no doubled slash after the location's own";
}

TEST_F(FileMeta, AMissingHeaderIsToldWithItsPath) {
    EXPECT_EQ(Get(), 2);
    EXPECT_EQ(captured.err, "\n[ERROR]: header " + HeaderPath("/a/f") + " doesn't exist!\n");
    EXPECT_EQ(Fields(info), Fields(FileInfo{}));
    EXPECT_EQ(script.Calls(), Lines{});
}

TEST_F(FileMeta, ABrokenLinkIsAMissingHeader) {
    std::filesystem::create_directories(MetaDir() + "/head/a");
    std::filesystem::create_symlink("nowhere", HeaderPath("/a/f"));
    EXPECT_EQ(Get(), 2);
}

TEST_F(FileMeta, AHeaderBelowAFileIsMissing) {
    WriteFile(MetaDir() + "/head/a", "");
    EXPECT_EQ(Get(), 2);
    EXPECT_EQ(captured.err, "\n[ERROR]: header " + HeaderPath("/a/f") + " doesn't exist!\n");
}

TEST_F(FileMeta, AHeaderThatDoesNotLoadShowsTheLibrarysText) {
    AddFile("/a/f");
    script.ThrowSys("HeaderFile::Load", 74, "header file x: checksum mismatch (errno 74)");
    EXPECT_EQ(Get(), 1);
    EXPECT_EQ(captured.err,
              "\n[ERROR]: header file load failed! header file x: checksum mismatch (errno 74)\n");
    EXPECT_EQ(Fields(info), Fields(FileInfo{}));
    EXPECT_EQ(script.Calls({"HeaderFile::~HeaderFile"}).size(), 1U);
}

TEST_F(FileMeta, AHeaderThatCannotBeMadeIsOneThatDoesNotLoad) {
    AddFile("/a/f");
    script.ThrowSys("HeaderFile::HeaderFile", 12, "");
    EXPECT_EQ(Get(), 1);
    EXPECT_EQ(captured.err, "\n[ERROR]: header file load failed! \n");
}

TEST_F(FileMeta, AShareDirectoryThatCannotBeToldIsOneToo) {
    AddFile("/a/f");
    script.ThrowSys("JorvUtils::GetShareDir", 5, "no share directory");
    EXPECT_EQ(Get(), 1);
    EXPECT_EQ(captured.err, "\n[ERROR]: header file load failed! no share directory\n");
    // What was filled before stays.
    EXPECT_EQ(
        Fields(info),
        Fields(FileInfo{.size = 4096, .mtim = 1600000000, .fg = 3, .ext = "", .path = "/a/f"}));
    EXPECT_EQ(script.Alive("HeaderFile"), 0);
}

TEST_F(FileMeta, OtherExceptionsPass) {
    AddFile("/a/f");
    script.Throw("HeaderFile::Load", std::runtime_error("other"));
    ExpectThrows<std::runtime_error>();
    script.Throw("HeaderFile::Load", Exception("configuration"));
    ExpectThrows<Exception>();
    script.Throw("HeaderFile::Load", 5);
    ExpectThrows<int>();
}

TEST_F(FileMeta, AHeaderWhoseStatusCannotBeReadLeavesByException) {
    std::filesystem::create_directories(MetaDir() + "/head/a");
    std::filesystem::create_symlink("f", HeaderPath("/a/f"));
    ExpectThrows<boost::filesystem::filesystem_error>();
    EXPECT_EQ(script.Calls(), Lines{});
}

TEST_F(FileMeta, AnExtentDirectoryWhoseStatusCannotBeReadLeavesByException) {
    AddFile("/a/f");
    std::filesystem::remove_all(ExtentPath("/a/f"));
    std::filesystem::create_symlink("f", ExtentPath("/a/f"));
    ExpectThrows<boost::filesystem::filesystem_error>();
    EXPECT_EQ(info.ext, ExtentPath("/a/f")) << "stored before it is looked at";
}

TEST_F(FileMeta, AMissingExtentDirectoryIsToldAndSummedUp) {
    AddFile("/a/f");
    std::filesystem::remove_all(ExtentPath("/a/f"));
    EXPECT_EQ(Get(), 4);
    EXPECT_EQ(info.ec, JorvCk::kExtentsMissing);
    EXPECT_EQ(captured.err, "\n[ERROR]: extent " + ExtentPath("/a/f") + " doesn't exist! fg: 3\n" +
                                Summary("/a/f", 4));
    EXPECT_EQ(script.Alive("HeaderFile"), 0);
}

TEST_F(FileMeta, AMissingExtentDirectoryOfADeviceFileSaysSo) {
    AddFile("/a/f");
    Header() = {.size = -1,
                .mtime = -2,
                .fg = std::numeric_limits<std::uint64_t>::max(),
                .isDev = true,
                .extentLocation = "/no where"};
    EXPECT_EQ(Get(), 4);
    EXPECT_EQ(captured.err,
              "\n[ERROR]: extent /no where/2/12/map/a/f doesn't exist! fg: 18446744073709551615\n"
              "[ERROR]: File information, path: /a/f ec: 4 [ mtim: -2 size: -1 fg: "
              "18446744073709551615 ext: /no where/2/12/map/a/f extl: dev ]\n");
}

TEST_F(FileMeta, WithoutAnExtentLocationTheExtentPathIsRelative) {
    AddFile("/a/f");
    Header().extentLocation = "";
    EXPECT_EQ(Get(), 4);
    EXPECT_EQ(info.ext, "2/12/map/a/f");
}

TEST_F(FileMeta, AnExtentPathThatIsAFileExists) {
    AddFile("/a/f");
    std::filesystem::remove_all(ExtentPath("/a/f"));
    WriteFile(ExtentPath("/a/f"), "");
    EXPECT_EQ(Get(), 0);
}

/// The time of the run is fixed; the extent directory is missing, so that a file that is not
/// skipped gives 4 and a line.
class FileAge : public FileMeta {
  protected:
    void SetUp() override {
        AddFile("/a/f");
        std::filesystem::remove_all(ExtentPath("/a/f"));
    }

    void ExpectChecked(std::int64_t mtime, std::int64_t limit) {
        Header().mtime = mtime;
        EXPECT_EQ(Get(limit), 4) << mtime << " " << limit;
        EXPECT_NE(captured.err, "");
    }

    void ExpectSkipped(std::int64_t mtime, std::int64_t limit) {
        Header().mtime = mtime;
        info = {.size = 1, .mtim = 2, .fg = 3, .ext = "e", .path = "p", .extl = true};
        EXPECT_EQ(Get(limit), 10) << mtime << " " << limit;
        EXPECT_EQ(captured.err, "");
        EXPECT_EQ(
            Fields(info),
            Fields(FileInfo{.size = 1, .mtim = 2, .fg = 3, .ext = "e", .path = "p", .extl = true}))
            << "the record is left alone";
        EXPECT_EQ(script.Alive("HeaderFile"), 0);
    }

    interposed::FixedTime time{kNow};
};

TEST_F(FileAge, AFileExactlyAsOldAsTheLimitIsCheckedAndOneASecondYoungerIsNot) {
    for (const std::int64_t limit : {std::int64_t{1}, std::int64_t{3600}, std::int64_t{172800}}) {
        ExpectChecked(kNow - limit - 1, limit);
        ExpectChecked(kNow - limit, limit);
        ExpectSkipped(kNow - limit + 1, limit);
        ExpectSkipped(kNow, limit);
    }
}

TEST_F(FileAge, AFileOfTheFutureIsTooYoungForAnyLimit) {
    ExpectSkipped(kNow + 1, 1);
    ExpectSkipped(kMax, 1);
    ExpectSkipped(kMax, 3600L * std::numeric_limits<std::int32_t>::max());
}

TEST_F(FileAge, WithoutALimitEveryFileIsChecked) {
    for (const std::int64_t mtime : {kMin, std::int64_t{0}, kNow, kNow + 1, kMax}) {
        ExpectChecked(mtime, 0);
        ExpectChecked(mtime, -1);
        ExpectChecked(mtime, kMin);
    }
}

TEST_F(FileAge, TheEarliestTimeIsOldAndTheGreatestLimitTakesAllButTheOldest) {
    ExpectChecked(kMin, 1);
    ExpectChecked(kMin, kMax);
    ExpectChecked(kNow - kMax, kMax);
    ExpectSkipped(kNow - kMax + 1, kMax);
    ExpectSkipped(0, kMax);
}

TEST_F(FileAge, ASkippedFileIsAskedForNothingButItsHeader) {
    ExpectSkipped(kNow, 1);
    EXPECT_EQ(script.Calls(),
              (Lines{"HeaderFile::HeaderFile", "HeaderFile::Load " + HeaderPath("/a/f"),
                     "HeaderFile::~HeaderFile"}));
}

TEST_F(FileAge, TheHeaderFilesOwnTimeDoesNotCount) {
    std::filesystem::last_write_time(HeaderPath("/a/f"), std::filesystem::file_time_type::max());
    ExpectChecked(kNow - 3600, 3600);
    std::filesystem::last_write_time(HeaderPath("/a/f"), {});
    ExpectSkipped(kNow - 3599, 3600);
}

std::string PrintedMeta(const FileInfo& info) {
    return Capture([&] { FileChecker::PrintFileMeta(&info); }).err;
}

TEST(FileSummaryLine, AFaultIsAnErrorAndNoFaultIsInformation) {
    FileInfo info = {.size = 4096,
                     .mtim = 1600000000,
                     .fg = 3,
                     .ext = "/vol1/2/12/map/a/b.dat",
                     .path = "/a/b.dat",
                     .ec = JorvCk::kExtentsMissing};
    const std::string rest =
        " [ mtim: 1600000000 size: 4096 fg: 3 ext: /vol1/2/12/map/a/b.dat extl: local ]\n";
    EXPECT_EQ(PrintedMeta(info), "[ERROR]: File information, path: /a/b.dat ec: 4" + rest);
    info.ec = JorvCk::kNoFault;
    EXPECT_EQ(PrintedMeta(info), "[INFO]: File information, path: /a/b.dat ec: 0" + rest);
    const std::vector<std::pair<std::int32_t, std::string>> codes = {{JorvCk::kNoExtentPath, "5"},
                                                                     {JorvCk::kSizesDiffer, "6"},
                                                                     {JorvCk::kUnknownDcid, "7"},
                                                                     {JorvCk::kReservedDcid, "9"},
                                                                     {-1, "-1"}};
    for (const auto& [code, text] : codes) {
        info.ec = code;
        std::string expected = "[ERROR]: File information, path: /a/b.dat ec: ";
        expected += text;
        expected += rest;
        EXPECT_EQ(PrintedMeta(info), expected);
    }
}

TEST(FileSummaryLine, ValuesAreShownWhole) {
    EXPECT_EQ(PrintedMeta({.size = kMin,
                           .mtim = kMax,
                           .fg = std::numeric_limits<std::uint64_t>::max(),
                           .ext = "",
                           .path = "/ \"&",
                           .extl = true}),
              "[INFO]: File information, path: / \"& ec: 0 [ mtim: 9223372036854775807 size: "
              "-9223372036854775808 fg: 18446744073709551615 ext:  extl: dev ]\n");
}

TEST(FileCheckerClass, ItsDestructorIsVirtualAndLetsNothingOut) {
    EXPECT_TRUE(std::has_virtual_destructor_v<FileChecker>);
    EXPECT_TRUE(std::is_nothrow_destructible_v<FileChecker>);
    EXPECT_FALSE(std::is_copy_constructible_v<FileChecker>);
}

/// Paths as users see them.
class SharePath : public storage_fake::FakeStorageTest {
  protected:
    std::string Path(const std::string& id, const std::string& relPath) {
        return FileChecker("/not used", id, 0).GetSharePath(relPath);
    }
};

TEST_F(SharePath, RootShareDirectoryShareAndFileAreJoined) {
    script.shareDirs["12"] = "2";
    EXPECT_EQ(Path("12", "/a/b.dat"), "/mnt/jorv/2/12/a/b.dat");
    EXPECT_EQ(Path("12", "a/b.dat"), "/mnt/jorv/2/12/a/b.dat");
    EXPECT_EQ(Path("12", ""), "/mnt/jorv/2/12");
    EXPECT_EQ(Path("12", "/"), "/mnt/jorv/2/12/");
    EXPECT_EQ(script.Calls(), Lines(4, "JorvUtils::GetShareDir 12"));
}

TEST_F(SharePath, SlashesInThePartsAreKeptButNotDoubled) {
    script.shareDirs["12"] = "/2/";
    EXPECT_EQ(Path("12", "/f"), "/mnt/jorv/2/12/f");
    script.shareDirs["7/"] = "7";
    EXPECT_EQ(Path("7/", "/f"), "/mnt/jorv/7/7//f") << "each side has a separator of its own";
    EXPECT_EQ(Path("7/", "f"), "/mnt/jorv/7/7/f");
    script.shareDirs["/7"] = "7";
    EXPECT_EQ(Path("/7", "/f"), "/mnt/jorv/7/7/f")
        << "appended, never put in the place of the root";
}

TEST_F(SharePath, EmptyPartsAddNothing) {
    EXPECT_EQ(Path("", "/f"), "/mnt/jorv/0/f");
    script.shareDirs["12"] = "";
    EXPECT_EQ(Path("12", "/f"), "/mnt/jorv/12/f");
}

TEST_F(SharePath, OddIdentifiersArePlainText) {
    EXPECT_EQ(Path("a\"b&c", "/f"), "/mnt/jorv/0/a\"b&c/f");
    EXPECT_EQ(Path("..", "/../f"), "/mnt/jorv/0/../../f");
    const std::string id(300, 'i');
    EXPECT_EQ(Path(id, "/f"), "/mnt/jorv/0/" + id + "/f");
    EXPECT_EQ(Path("12", "/a\n\xFF"), "/mnt/jorv/0/12/a\n\xFF");
}

TEST_F(SharePath, AFailureOfTheShareDirectoryPasses) {
    using Corvane::Kst::Marlow::Jorv::SysException;
    script.ThrowSys("JorvUtils::GetShareDir", 5);
    EXPECT_THROW(Path("12", "/f"), SysException);
}

}  // namespace

}  // namespace file_checker
