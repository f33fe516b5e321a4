#include "jorvaudit/listing.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <set>

#include "jorvaudit/parts.h"
#include "tests/support/temp_dir.h"
#include "tests/support/unprivileged.h"

namespace {

using namespace jorvaudit;  // NOLINT(google-build-using-namespace)
using test_support::MakeDirs;
using test_support::TempDir;
using test_support::WriteFile;
using testing::ElementsAre;
using testing::IsEmpty;

class ListingTest : public testing::Test {
  protected:
    ListingTest() {
        for (const char* const tree : {"head", "map", "stu"}) {
            MakeDirs(share_ / tree);
        }
    }

    [[nodiscard]] Listing List(const std::string& path = "", bool tables = false) const {
        return ListDirectory(share_.Path(), path, tables);
    }

    static std::string Text(const FileEntry& file) {
        const auto letter = [](Has has) { return "-fdo"[static_cast<int>(has)]; };
        return file.name + " " + letter(file.header) + letter(file.extents) + letter(file.unit);
    }
    static std::vector<std::string> Texts(const Listing& listing) {
        std::vector<std::string> texts;
        for (const FileEntry& file : listing.files) {
            texts.push_back(Text(file));
        }
        return texts;
    }

    TempDir share_;
};

TEST_F(ListingTest, FilesAreNamedByAllThreeTrees) {
    WriteFile(share_ / "head/b", "");
    WriteFile(share_ / "map/b", "");
    WriteFile(share_ / "stu/b", "");
    WriteFile(share_ / "head/a", "");
    WriteFile(share_ / "map/c", "");
    WriteFile(share_ / "stu/d", "");
    const Listing listing = List();
    EXPECT_THAT(Texts(listing), ElementsAre("a f--", "b fff", "c -f-", "d --f"));
    EXPECT_THAT(listing.directories, IsEmpty());
    EXPECT_EQ(listing.missing, (std::array<bool, 3>{}));
}

TEST_F(ListingTest, WhatIsNoDirectoryInThePlaceOfTablesIsTheTables) {
    MakeDirs(share_ / "map/f");
    EXPECT_FALSE(HoldsTables(share_ / "map/f"));
    std::filesystem::create_symlink("nowhere", share_ / "map/f/data.mdb");
    EXPECT_TRUE(HoldsTables(share_ / "map/f"));
    std::filesystem::remove(share_ / "map/f/data.mdb");
    ASSERT_EQ(::mkfifo((share_ / "map/f/data.mdb").c_str(), 0600), 0);
    EXPECT_TRUE(HoldsTables(share_ / "map/f"));
    std::filesystem::remove(share_ / "map/f/data.mdb");
    MakeDirs(share_ / "map/f/data.mdb");
    EXPECT_FALSE(HoldsTables(share_ / "map/f"));
}

TEST_F(ListingTest, HeadersAloneAreThoseOfTheHeadTree) {
    WriteFile(share_ / "head/b", "");
    WriteFile(share_ / "map/b", "");
    WriteFile(share_ / "map/c", "");
    MakeDirs(share_ / "head/x");
    MakeDirs(share_ / "map/y");
    const Listing listing = ListHeaders(share_.Path(), "");
    EXPECT_THAT(Texts(listing), ElementsAre("b f--"));
    EXPECT_THAT(listing.directories, ElementsAre("x"));
}

TEST_F(ListingTest, DirectoriesOfAnyTreeAreGoneDownInto) {
    MakeDirs(share_ / "head/x");
    MakeDirs(share_ / "map/y");
    MakeDirs(share_ / "stu/z");
    EXPECT_THAT(List().directories, ElementsAre("x", "y", "z"));
    const Listing below = List("x");
    EXPECT_EQ(below.missing, (std::array<bool, 3>{false, true, true}));
}

TEST_F(ListingTest, ADirectoryOfTablesIsAFile) {
    WriteFile(share_ / "head/f", "");
    MakeDirs(share_ / "map/f");
    WriteFile(share_ / "map/lost/data.mdb", "");
    MakeDirs(share_ / "map/deeper/f");
    const Listing tables = List("", true);
    EXPECT_THAT(Texts(tables), ElementsAre("f fd-", "lost -d-"));
    EXPECT_THAT(tables.directories, ElementsAre("deeper"));
    const Listing files = List("", false);
    EXPECT_THAT(Texts(files), ElementsAre("f fd-")) << "with extent files it is damage";
    EXPECT_THAT(files.directories, ElementsAre("deeper", "f", "lost"));
}

TEST_F(ListingTest, AHeaderMayStandWhereADirectoryWas) {
    namespace fs = std::filesystem;
    WriteFile(share_ / "head/a", "");
    fs::create_symlink("nowhere", share_ / "head/b");
    fs::create_symlink("c", share_ / "head/c");
    for (const char* const name : {"a", "b", "c"}) {
        WriteFile(share_ / ("map/" + std::string(name) + "/lost"), "");
        WriteFile(share_ / ("stu/" + std::string(name) + "/lost"), "");
    }
    EXPECT_THAT(Texts(List()), ElementsAre("a fdd", "b odd", "c odd"));
    EXPECT_THAT(List().directories, ElementsAre("a", "b", "c"));
    EXPECT_THAT(List("", true).directories, ElementsAre("a", "b", "c"));
    for (const char* const name : {"a", "b", "c"}) {
        EXPECT_THAT(Texts(List(name)), ElementsAre("lost -ff")) << name;
        EXPECT_THAT(List(name).findings, IsEmpty()) << name;
    }
}

TEST_F(ListingTest, AUsersFileOfTheNameOfTablesIsNone) {
    WriteFile(share_ / "head/d/data.mdb", "");
    WriteFile(share_ / "map/d/data.mdb/data.mdb", "");
    WriteFile(share_ / "map/lost/data.mdb/data.mdb", "");
    EXPECT_THAT(Texts(List("", true)), IsEmpty());
    EXPECT_THAT(List("", true).directories, ElementsAre("d", "lost"));
    EXPECT_THAT(Texts(List("d", true)), ElementsAre("data.mdb fd-"));
    EXPECT_THAT(Texts(List("lost", true)), ElementsAre("data.mdb -d-"));
    // Even where the map tree has tables for a directory of the head tree.
    MakeDirs(share_ / "head/e");
    WriteFile(share_ / "map/e/data.mdb", "");
    EXPECT_THAT(List("", true).directories, ElementsAre("d", "e", "lost"));
}

TEST_F(ListingTest, AFileAndADirectoryOfOneNameAreBoth) {
    MakeDirs(share_ / "head/x");
    WriteFile(share_ / "map/x", "");
    const Listing listing = List();
    EXPECT_THAT(Texts(listing), ElementsAre("x -f-"));
    EXPECT_THAT(listing.directories, ElementsAre("x"));
}

TEST_F(ListingTest, LinksAreFollowedAndThoseToDirectoriesSaid) {
    namespace fs = std::filesystem;
    WriteFile(share_ / "file", "");
    MakeDirs(share_ / "directory");
    fs::create_symlink(share_ / "file", share_ / "head/a");
    fs::create_symlink("nowhere", share_ / "head/b");
    fs::create_symlink("c", share_ / "head/c");
    fs::create_symlink(share_ / "directory", share_ / "head/d");
    ::mkfifo((share_ / "stu/e").c_str(), S_IRWXU);
    const Listing listing = List();
    EXPECT_THAT(Texts(listing), ElementsAre("a f--", "b o--", "c o--", "e --o"));
    ASSERT_EQ(listing.findings.size(), 1U);
    EXPECT_EQ(listing.findings[0].kind, &kinds::kLinkedDirectory);
    EXPECT_EQ(listing.findings[0].name, "head/d");
    EXPECT_THAT(listing.directories, IsEmpty());
    EXPECT_EQ(listing.linked, 1U);
    // Where another tree has the directory it is gone down into, and counted there.
    MakeDirs(share_ / "map/d");
    EXPECT_THAT(List().directories, ElementsAre("d"));
    EXPECT_EQ(List().linked, 0U);
    EXPECT_TRUE(List("d").isLinked);
    EXPECT_FALSE(List().isLinked);
}

TEST_F(ListingTest, ADirectoryThatCannotBeListedIsAFinding) {
    MakeDirs(share_ / "map/x");
    MakeDirs(share_ / "head/x");
    ::chmod(share_.Path().c_str(), S_IRWXU | S_IRWXG | S_IRWXO);
    ::chmod((share_ / "map/x").c_str(), 0);
    const test_support::Unprivileged unprivileged;
    const Listing listing = List("x");
    EXPECT_EQ(listing.unreadable, (std::array<bool, 3>{false, true, false}));
    ASSERT_EQ(listing.findings.size(), 1U);
    EXPECT_EQ(listing.findings[0].kind, &kinds::kDirectoryUnreadable);
    EXPECT_EQ(listing.findings[0].name, "map/x");
    EXPECT_EQ(listing.findings[0].detail, "Permission denied (errno 13)");
}

TEST_F(ListingTest, NamesWithLineEndsAreCounted) {
    WriteFile(share_ / "head/a\nb", "");
    WriteFile(share_ / "head/c", "");
    EXPECT_EQ(List().hostile, 1U);
    MakeDirs(share_ / "head/d\n");
    WriteFile(share_ / "head/d\n/f", "");
    EXPECT_EQ(List("d\n").hostile, 1U) << "the whole path counts";
}

// Each directory of the share is in exactly one part, by itself or with what is below it.
TEST_F(ListingTest, PartsDivideAShare) {
    std::set<std::string> all = {""};
    for (int i = 0; i < 5; ++i) {
        for (int j = 0; j < 4; ++j) {
            for (int k = 0; k < 3; ++k) {
                std::string path;
                for (const int number : {i, j, k}) {
                    path = Below(path, "d" + std::to_string(number));
                    all.insert(path);
                }
                MakeDirs(share_ / (k == 0 ? "map/" : "head/") + path);
            }
        }
    }
    for (const unsigned of : {1U, 2U, 3U, 8U, 100U}) {
        std::multiset<std::string> found;
        for (unsigned index = 1; index <= of; ++index) {
            for (const Unit& unit :
                 Divide(share_.Path(), false, {.index = index, .of = of}).units) {
                for (const std::string& path : all) {
                    const bool isBelow =
                        unit.path.empty() || path == unit.path || path.starts_with(unit.path + "/");
                    if (path == unit.path || (unit.withBelow && isBelow)) {
                        found.insert(path);
                    }
                }
            }
        }
        EXPECT_EQ(std::set<std::string>(found.begin(), found.end()), all) << of;
        EXPECT_EQ(found.size(), all.size()) << of;
    }
}

TEST_F(ListingTest, PartsHaveTheSameDigestUntilAnUpperDirectoryChanges) {
    const auto digest = [&](unsigned index, unsigned of) {
        return Divide(share_.Path(), false, {.index = index, .of = of}).digest;
    };
    MakeDirs(share_ / "head/a/b");
    const std::string first = digest(1, 2);
    EXPECT_NE(first, "");
    EXPECT_EQ(digest(2, 2), first);
    MakeDirs(share_ / "head/a/b/c/d");
    EXPECT_NE(digest(2, 2), first);
    const std::string second = digest(1, 2);
    MakeDirs(share_ / "head/a/b/c/e");
    EXPECT_EQ(digest(2, 2), second) << "too deep to be divided";
    EXPECT_EQ(digest(1, 1), "") << "not divided";
}

}  // namespace
