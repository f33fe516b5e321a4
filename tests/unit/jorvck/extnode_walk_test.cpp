#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <boost/filesystem/exception.hpp>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <stdexcept>

#include "jorvck/extnode_check.h"
#include "storage/exception.h"
#include "tests/interposed/directories.h"
#include "tests/interposed/files.h"
#include "tests/unit/jorvck/extnode_fixture.h"

namespace extnode {

namespace {

using Corvane::Kst::Marlow::Jorv::Exception;
using test_support::Capture;
using test_support::MakeDirs;
using test_support::Throws;
using test_support::WriteFile;

constexpr const char* kDirectoryLine = "[ERROR]: extent file cksum failed \n";

/// Walks over listings that the test gives. Every file has a sound extent file without extents,
/// unless the test says otherwise.
class ExtentWalk : public ShareTest {
  protected:
    void SoundFiles(const Lines& names) {
        for (const std::string& name : names) {
            script.extentFiles[Map(name)] = {};
        }
    }

    /// Walks from "map" and "stu" below the root.
    int PlainWalk() {
        ExtNodeCheck check(Root());
        return check.ExtNodeCheck_Cksum((dir / "map").c_str(), (dir / "stu").c_str());
    }

    /// As PlainWalk; keeps what was printed.
    int Walk() {
        int result = 77;
        const auto captured = Capture([&] { result = PlainWalk(); });
        EXPECT_EQ(captured.out, "");
        err = captured.err;
        EXPECT_EQ(directories.Open(), 0U) << "a directory was left open";
        return result;
    }

    /// Names of the files whose extents were loaded, in order.
    [[nodiscard]] Lines Checked() const {
        Lines names;
        const std::string prefix = "ExtentFile::Load " + (dir / "map/");
        for (const std::string& line : script.Calls({"ExtentFile::Load"})) {
            names.push_back(line.starts_with(prefix) ? line.substr(prefix.size()) : line);
        }
        return names;
    }

    std::string err;
    interposed::Directories directories;
};

TEST_F(ExtentWalk, AShareWithoutAMapDirectoryGivesTheLineThatEndsInItsBlank) {
    EXPECT_EQ(Walk(), -1);
    EXPECT_EQ(err, kDirectoryLine);
    EXPECT_EQ(script.Calls(), Lines{});
}

TEST_F(ExtentWalk, AMapDirectoryThatIsAFileCannotBeOpened) {
    WriteFile(dir / "map", "");
    EXPECT_EQ(Walk(), -1);
    EXPECT_EQ(err, kDirectoryLine);
}

TEST_F(ExtentWalk, AnEmptyMapDirectoryIsSoundAndSilent) {
    MakeDirs(dir / "map");
    EXPECT_EQ(Walk(), 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(script.Calls(), Lines{});
    EXPECT_EQ(directories.Opened(), Lines{dir / "map"});
}

TEST_F(ExtentWalk, FilesOfARealDirectoryAreAllChecked) {
    for (const char* const name : {"a", "b", "c"}) {
        WriteFile(Map(name), "");
    }
    SoundFiles({"a", "b", "c"});
    EXPECT_EQ(Walk(), 0);
    Lines checked = Checked();
    std::sort(checked.begin(), checked.end());
    EXPECT_EQ(checked, (Lines{"a", "b", "c"}));
}

TEST_F(ExtentWalk, FilesAreCheckedInTheOrderOfTheListing) {
    directories.List(dir / "map", {{".", DT_DIR}, {"z"}, {"b"}, {"..", DT_DIR}, {"y"}, {"a"}});
    SoundFiles({"a", "b", "y", "z"});
    EXPECT_EQ(Walk(), 0);
    EXPECT_EQ(Checked(), (Lines{"z", "b", "y", "a"}));
    EXPECT_EQ(err, Verify("z") + Verify("b") + Verify("y") + Verify("a"));
}

TEST_F(ExtentWalk, NothingBehindTheFirstSubdirectoryIsChecked) {
    directories.List(dir / "map", {{"a"}, {"d", DT_DIR}, {"b"}});
    directories.List(dir / "map/d", {{"c"}});
    SoundFiles({"a", "b", "d/c"});
    EXPECT_EQ(Walk(), 0);
    EXPECT_EQ(Checked(), (Lines{"a", "d/c"}));
    EXPECT_EQ(directories.Opened(), (Lines{dir / "map", dir / "map/d"}));
}

TEST_F(ExtentWalk, TheResultIsThatOfTheDeepestDirectory) {
    directories.List(dir / "map", {{"a"}, {"d", DT_DIR}, {"b"}});
    directories.List(dir / "map/d", {{"e", DT_DIR}});
    SoundFiles({"a", "b"});
    EXPECT_EQ(Walk(), -1);
    EXPECT_EQ(err, Verify("a") + kDirectoryLine);

    directories.List(dir / "map/d/e", {});
    EXPECT_EQ(Walk(), 0);
    EXPECT_EQ(err, Verify("a"));
}

TEST_F(ExtentWalk, ASubdirectoryThatComesFirstHidesTheRestOfItsParent) {
    directories.List(dir / "map", {{"d", DT_DIR}, {"a"}, {"b"}, {"e", DT_DIR}});
    directories.List(dir / "map/d", {{"x"}, {"y"}});
    SoundFiles({"a", "b", "d/x", "d/y"});
    EXPECT_EQ(Walk(), 0);
    EXPECT_EQ(Checked(), (Lines{"d/x", "d/y"}));
}

TEST_F(ExtentWalk, DotAndDotDotAreNoSubdirectoriesButNamesThatBeginWithADotAre) {
    directories.List(dir / "map", {{".", DT_DIR}, {"..", DT_DIR}, {"...", DT_DIR}, {"a"}});
    directories.List(dir / "map/...", {{"x"}});
    SoundFiles({"a", ".../x"});
    EXPECT_EQ(Walk(), 0);
    EXPECT_EQ(Checked(), Lines{".../x"});
}

TEST_F(ExtentWalk, EveryTypeCodeWithTheBitOfValue4CountsAsADirectory) {
    for (unsigned type = 0; type < 256; ++type) {
        directories.List(dir / "map", {{"x", static_cast<unsigned char>(type)}, {"b"}});
        directories.List(dir / "map/x", {});
        SoundFiles({"x", "b"});
        EXPECT_EQ(Walk(), 0);
        EXPECT_EQ(err, (type & 4U) != 0 ? "" : Verify("x") + Verify("b")) << type;
    }
}

TEST_F(ExtentWalk, ASocketIsTakenForADirectoryAndCannotBeOpenedAsOne) {
    MakeDirs(dir / "map");
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    ASSERT_LT(Map("x").size(), sizeof address.sun_path) << "a shorter TMPDIR is needed";
    Map("x").copy(static_cast<char*>(address.sun_path), sizeof address.sun_path - 1);
    const int made = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(::bind(made, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ::close(made);
    EXPECT_EQ(Walk(), -1);
    EXPECT_EQ(err, kDirectoryLine);
    EXPECT_EQ(directories.Opened(), (Lines{dir / "map", dir / "map/x"}));
}

TEST_F(ExtentWalk, ABlockDeviceIsTakenForADirectoryAndCannotBeOpenedAsOne) {
    WriteFile(Map("x"), "");
    directories.List(dir / "map", {{"x", DT_BLK}});
    EXPECT_EQ(Walk(), -1);
    EXPECT_EQ(err, kDirectoryLine);
}

TEST_F(ExtentWalk, AnEntryWhoseHeadPathIsADirectoryIsWalked) {
    MakeDirs(Head("x"));
    directories.List(dir / "map", {{"a"}, {"x"}, {"b"}});
    directories.List(dir / "map/x", {{"y"}});
    SoundFiles({"a", "b", "x", "x/y"});
    EXPECT_EQ(Walk(), 0);
    EXPECT_EQ(Checked(), (Lines{"a", "x/y"}));
}

TEST_F(ExtentWalk, AnEntryWhoseHeadPathIsADirectoryButWhichIsAFileCannotBeOpened) {
    MakeDirs(Head("x"));
    WriteFile(Map("x"), "");
    EXPECT_EQ(Walk(), -1);
    EXPECT_EQ(err, kDirectoryLine);
}

TEST_F(ExtentWalk, TheHeadPathIsFollowedThroughLinks) {
    MakeDirs(dir / "elsewhere");
    MakeDirs(dir / "head");
    std::filesystem::create_symlink(dir / "elsewhere", Head("x"));
    directories.List(dir / "map", {{"x"}});
    directories.List(dir / "map/x", {{"y"}});
    SoundFiles({"x", "x/y"});
    EXPECT_EQ(Walk(), 0);
    EXPECT_EQ(Checked(), Lines{"x/y"});
}

TEST_F(ExtentWalk, AHeadPathThatIsAFileOrMissingOrABrokenLinkMakesTheEntryAFile) {
    WriteFile(Head("file"), "");
    std::filesystem::create_symlink(dir / "nowhere", Head("broken"));
    directories.List(dir / "map", {{"file"}, {"missing"}, {"broken"}});
    SoundFiles({"file", "missing", "broken"});
    EXPECT_EQ(Walk(), 0);
    EXPECT_EQ(Checked(), (Lines{"file", "missing", "broken"}));
}

TEST_F(ExtentWalk, AHeadPathBelowAFileCountsAsMissing) {
    WriteFile(dir / "head", "");
    directories.List(dir / "map", {{"x"}});
    SoundFiles({"x"});
    EXPECT_EQ(Walk(), 0);
    EXPECT_EQ(Checked(), Lines{"x"});
}

TEST_F(ExtentWalk, AHeadPathWhoseStatusCannotBeReadEndsTheWalk) {
    MakeDirs(dir / "head");
    std::filesystem::create_symlink("x", Head("x"));
    directories.List(dir / "map", {{"x"}, {"b"}});
    bool thrown = false;
    const auto captured = Capture(
        [&] { thrown = Throws<boost::filesystem::filesystem_error>([&] { PlainWalk(); }); });
    EXPECT_TRUE(thrown);
    EXPECT_EQ(captured.err, "");
    EXPECT_EQ(directories.Open(), 0U);
    EXPECT_EQ(script.Calls(), Lines{});
}

TEST_F(ExtentWalk, OnAFileSystemWithoutEntryTypesTheWalkReentersTheDirectoryByItsDot) {
    MakeDirs(dir / "head");
    directories.List(dir / "map", {{"a", DT_UNKNOWN}, {".", DT_UNKNOWN}, {"b", DT_UNKNOWN}});
    directories.List(dir / "map/.", {{"c", DT_UNKNOWN}, {"..", DT_DIR}});
    SoundFiles({"a", "b", "./c"});
    EXPECT_EQ(Walk(), 0);
    EXPECT_EQ(Checked(), (Lines{"a", "./c"}));
}

TEST_F(ExtentWalk, WithoutEntryTypesADirectoryIsKnownByItsHeadPathAlone) {
    MakeDirs(Head("d"));
    directories.List(dir / "map", {{"e", DT_UNKNOWN}, {"d", DT_UNKNOWN}});
    directories.List(dir / "map/d", {});
    SoundFiles({"e", "d"});
    EXPECT_EQ(Walk(), 0);
    EXPECT_EQ(Checked(), Lines{"e"});
    EXPECT_EQ(directories.Opened(), (Lines{dir / "map", dir / "map/d"}));
}

TEST_F(ExtentWalk, AFileThatDoesNotLoadGivesItsErrorNumberAndTheNextOneFollows) {
    directories.List(dir / "map", {{"a"}, {"b"}, {"c"}, {"d"}, {"e"}});
    SoundFiles({"a", "b", "c", "d", "e"});
    script.ThrowSys("ExtentFile::Load " + Map("b"), 74, "not shown");
    script.ThrowSys("ExtentFile::Load " + Map("c"), std::numeric_limits<std::int32_t>::min());
    script.ThrowSys("ExtentFile::Load " + Map("d"), 0);
    EXPECT_EQ(Walk(), 0);
    EXPECT_EQ(err, Verify("a") +
                       "[ERROR]: extent file process failed74\n"
                       "[ERROR]: extent file process failed-2147483648\n"
                       "[ERROR]: extent file process failed0\n" +
                       Verify("e"));
}

TEST_F(ExtentWalk, AFileMissingInTheLibraryGivesErrorNumber2) {
    directories.List(dir / "map", {{"x"}});
    EXPECT_EQ(Walk(), 0);
    EXPECT_EQ(err, "[ERROR]: extent file process failed2\n");
}

TEST_F(ExtentWalk, AFindingInAFileDoesNotStopTheWalk) {
    directories.List(dir / "map", {{"a"}, {"b"}});
    SoundFiles({"a", "b"});
    script.extentFiles[Map("a")].extents = {{.end = 1, .dcid = 1, .cksum = 5}};
    WriteFile(Stu("a"), "A");
    EXPECT_EQ(Walk(), 0);
    EXPECT_EQ(err,
              Verify("a") + "[ERROR]: extent file cksum failed " + Map("a") + "\n" + Verify("b"));
}

/// Every exception but SysException leaves the walk, with nothing printed and nothing left open.
template <typename E>
class ExtentWalkThrown : public ExtentWalk {};

using OtherExceptions = testing::Types<std::runtime_error, std::bad_alloc, Exception, int>;
TYPED_TEST_SUITE(ExtentWalkThrown, OtherExceptions);

template <typename E>
E Example() {
    if constexpr (std::is_same_v<E, int>) {
        return 5;
    } else if constexpr (std::is_same_v<E, std::bad_alloc>) {
        return {};
    } else {
        return E("other");
    }
}

TYPED_TEST(ExtentWalkThrown, AnotherExceptionLeavesTheWalkAtOnce) {
    this->directories.List(this->dir / "map", {{"d/x", DT_DIR}});
    this->directories.List(this->dir / "map/d/x", {{"a"}, {"b"}, {"c"}});
    this->SoundFiles({"d/x/a", "d/x/b", "d/x/c"});
    this->script.Throw("ExtentFile::Load " + this->Map("d/x/b"), Example<TypeParam>());
    bool thrown = false;
    const auto captured = Capture([&] { thrown = Throws<TypeParam>([&] { this->PlainWalk(); }); });
    EXPECT_TRUE(thrown);
    EXPECT_EQ(captured.err, this->Verify("d/x/a"));
    EXPECT_EQ(this->Checked(), (Lines{"d/x/a", "d/x/b"}));
    EXPECT_EQ(this->directories.Open(), 0U);
}

TEST_F(ExtentWalk, AListingThatFailsPartWayCountsAsEnded) {
    directories.List(dir / "map", {{"a"}, {"b"}}, EIO);
    SoundFiles({"a", "b"});
    EXPECT_EQ(Walk(), 0);
    EXPECT_EQ(err, Verify("a") + Verify("b"));

    directories.List(dir / "map", {}, EIO);
    EXPECT_EQ(Walk(), 0);
    EXPECT_EQ(err, "");
}

TEST_F(ExtentWalk, OneDirectoryIsOpenAtATime) {
    directories.List(dir / "map", {{"a"}, {"1", DT_DIR}});
    directories.List(dir / "map/1", {{"2", DT_DIR}});
    MakeDirs(Head("1/2/3"));
    directories.List(dir / "map/1/2", {{"b"}, {"3"}});
    directories.List(dir / "map/1/2/3", {{"c"}});
    SoundFiles({"a", "1/2/b", "1/2/3/c"});
    EXPECT_EQ(Walk(), 0);
    EXPECT_EQ(Checked(), (Lines{"a", "1/2/b", "1/2/3/c"}));
    EXPECT_EQ(directories.Opened().size(), 4U);
    EXPECT_EQ(directories.MostOpen(), 1U);
}

TEST_F(ExtentWalk, AChainOf500DirectoriesNeedsNoMoreDescriptorsThanOne) {
    std::string path = dir / "map";
    for (int level = 0; level < 500; ++level) {
        path += "/d";
    }
    WriteFile(path + "/f", "");
    script.extentFiles[path + "/f"] = {};
    const auto walkWithFewDescriptors = [&] {
        const rlimit few = {16, 16};
        ::setrlimit(RLIMIT_NOFILE, &few);
        const int result = PlainWalk();
        const Lines expected = {"ExtentFile::Load " + path + "/f"};
        std::_Exit(result == 0 && script.Calls({"ExtentFile::Load"}) == expected ? 0 : 1);
    };
    EXPECT_EXIT(walkWithFewDescriptors(), testing::ExitedWithCode(0), "^Verify file [^\n]*/d/f\n$");
}

/// Where the paths of an entry end up shows in the storage unit that is opened.
class ExtentWalkPaths : public ExtentWalk {
  protected:
    /// Walks from directories that are given as text; keeps what was written.
    int WalkFrom(const std::string& root, const std::string& mapDir, const std::string& stuDir) {
        ExtNodeCheck check(root);
        int result = 77;
        err =
            Capture([&] { result = check.ExtNodeCheck_Cksum(mapDir.c_str(), stuDir.c_str()); }).err;
        return result;
    }

    /// A file at `map` with one local extent whose checksum cannot match, and its storage unit.
    void LocalFile(const std::string& map, const std::string& stu) {
        script.extentFiles[map].extents = {{.end = 1, .dcid = 1, .cksum = 0}};
        WriteFile(stu, "A");
    }

    static std::string Mismatch(const std::string& map) {
        return "Verify file " + map + "\n[ERROR]: extent file cksum failed " + map + "\n";
    }
};

TEST_F(ExtentWalkPaths, BothDirectoriesWithoutASlash) {
    directories.List(dir / "map", {{"x"}});
    LocalFile(dir / "map/x", dir / "stu/x");
    EXPECT_EQ(WalkFrom(Root(), dir / "map", dir / "stu"), 0);
    EXPECT_EQ(err, Mismatch(dir / "map/x"));
}

TEST_F(ExtentWalkPaths, OnlyTheMapDirectoryIsAskedForItsFinalSlash) {
    directories.List(dir / "map/", {{"x"}});
    LocalFile(dir / "map/x", dir / "stux");
    EXPECT_EQ(WalkFrom(Root(), dir / "map/", dir / "stu"), 0);
    EXPECT_EQ(err, Mismatch(dir / "map/x"));
}

TEST_F(ExtentWalkPaths, BothDirectoriesWithASlash) {
    directories.List(dir / "map/", {{"x"}});
    LocalFile(dir / "map/x", dir / "stu/x");
    EXPECT_EQ(WalkFrom(Root(), dir / "map/", dir / "stu/"), 0);
    EXPECT_EQ(err, Mismatch(dir / "map/x"));
}

TEST_F(ExtentWalkPaths, AStorageUnitDirectoryWithASlashOfItsOwnGetsASecondOne) {
    directories.List(dir / "map", {{"x"}});
    LocalFile(dir / "map/x", dir / "stu/x");
    const interposed::Files files(Root(), Corvane::Kst::Marlow::JorvCk::kReadBufferSize);
    EXPECT_EQ(WalkFrom(Root(), dir / "map", dir / "stu/"), 0);
    EXPECT_EQ(err, Mismatch(dir / "map/x"));
    EXPECT_EQ(std::count(files.Calls().begin(), files.Calls().end(), "fopen64 stu//x rb"), 1);
}

TEST_F(ExtentWalkPaths, TheChoiceHoldsForEachLevelAnew) {
    directories.List(dir / "map/", {{"d", DT_DIR}});
    directories.List(dir / "map/d", {{"x"}});
    LocalFile(dir / "map/d/x", dir / "stud/x");
    EXPECT_EQ(WalkFrom(Root(), dir / "map/", dir / "stu"), 0);
    EXPECT_EQ(err, Mismatch(dir / "map/d/x"));
}

TEST_F(ExtentWalkPaths, AMapPathShorterThanTheRootLeavesTheHeadDirectoryItself) {
    directories.List("/m", {{"x"}});
    directories.List("/m/x", {});
    script.extentFiles["/m/x"] = {};
    EXPECT_EQ(WalkFrom(Root(), "/m", "/t"), 0);
    EXPECT_EQ(err, "Verify file /m/x\n");

    MakeDirs(dir / "head");
    EXPECT_EQ(WalkFrom(Root(), "/m", "/t"), 0);
    EXPECT_EQ(err, "") << "the head directory is one, so the entry is walked";
}

TEST_F(ExtentWalkPaths, TheHeadPathIsCutByLengthWhateverTheMapPathBeginsWith) {
    // As long as the root and "map" together, so that "/x" is left.
    const std::string other = "/" + std::string(Root().size() + 2, 'o');
    directories.List(other, {{"x"}});
    directories.List(other + "/x", {});
    script.extentFiles[other + "/x"] = {};
    EXPECT_EQ(WalkFrom(Root(), other, "/t"), 0);
    EXPECT_EQ(err, "Verify file " + other + "/x\n");

    MakeDirs(Head("x"));
    EXPECT_EQ(WalkFrom(Root(), other, "/t"), 0);
    EXPECT_EQ(err, "");
}

TEST_F(ExtentWalkPaths, TheHeadPathIsCutByLengthWhereOtherPartsAreNamedLikeTheTrees) {
    const std::string share = dir / "head/map";
    directories.List(share + "/map", {{"map"}});
    directories.List(share + "/map/map", {{"x"}});
    script.extentFiles[share + "/map/map"] = {};
    script.extentFiles[share + "/map/map/x"] = {};
    EXPECT_EQ(WalkFrom(share + "/", share + "/map", share + "/stu"), 0);
    EXPECT_EQ(err, "Verify file " + share + "/map/map\n");

    MakeDirs(share + "/head/map");
    EXPECT_EQ(WalkFrom(share + "/", share + "/map", share + "/stu"), 0);
    EXPECT_EQ(err, "Verify file " + share + "/map/map/x\n");
}

}  // namespace

}  // namespace extnode
