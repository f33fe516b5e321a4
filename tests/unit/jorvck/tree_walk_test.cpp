#include "jorvck/tree_walk.h"

#include <gtest/gtest.h>

#include <boost/filesystem/exception.hpp>
#include <cerrno>
#include <filesystem>
#include <utility>

#include "tests/interposed/directories.h"
#include "tests/support/temp_dir.h"
#include "tests/support/throws.h"
#include "tests/support/unprivileged.h"

namespace {

using boost::filesystem::filesystem_error;
using Corvane::Kst::Marlow::JorvCk::TreeWalk;
using test_support::Throws;
using test_support::WriteFile;

/// Paths without the root in front, each with the type of its status.
using Found = std::vector<std::pair<std::string, mode_t>>;

class Walk : public testing::Test {
  protected:
    Found All(const std::string& root) const {
        Found found;
        TreeWalk walk(root);
        while (walk.Next()) {
            found.emplace_back(walk.Path().substr(dir.Path().size()), walk.Type());
        }
        return found;
    }

    const test_support::TempDir dir;
    interposed::Directories directories;
};

TEST_F(Walk, AnEntryStandsBeforeWhatIsBelowItAndBeforeWhatIsListedBehindIt) {
    WriteFile(dir / "a/x", "");
    WriteFile(dir / "a/y/z", "");
    WriteFile(dir / "b", "");
    directories.List(dir.Path(), {{"a", DT_DIR}, {"b"}});
    directories.List(dir / "a", {{"y", DT_DIR}, {"x"}});
    EXPECT_EQ(All(dir.Path()), (Found{{"/a", S_IFDIR},
                                      {"/a/y", S_IFDIR},
                                      {"/a/y/z", S_IFREG},
                                      {"/a/x", S_IFREG},
                                      {"/b", S_IFREG}}));
    EXPECT_EQ(directories.Open(), 0U);
}

TEST_F(Walk, AnEmptyDirectoryHasNoEntries) {
    EXPECT_EQ(All(dir.Path()), Found{});
    test_support::MakeDirs(dir / "a");
    EXPECT_EQ(All(dir.Path()), (Found{{"/a", S_IFDIR}}));
}

TEST_F(Walk, OneSlashStandsBehindTheRootHoweverManyItEndsIn) {
    WriteFile(dir / "a/f", "");
    for (const char* const slashes : {"/", "//", "///"}) {
        EXPECT_EQ(All(dir.Path() + slashes), (Found{{"/a", S_IFDIR}, {"/a/f", S_IFREG}}));
    }
}

TEST_F(Walk, TheDirectoryOfAnEntryIsItsPathUpToTheLastSlash) {
    WriteFile(dir / "a/f", "");
    TreeWalk walk(dir.Path());
    ASSERT_TRUE(walk.Next());
    EXPECT_EQ(walk.Directory(), dir.Path());
    ASSERT_TRUE(walk.Next());
    EXPECT_EQ(walk.Directory(), dir / "a");
    EXPECT_FALSE(walk.Next());
}

TEST_F(Walk, ALinkToADirectoryHasItsTypeAndIsNotGoneDownInto) {
    WriteFile(dir / "a/f", "");
    std::filesystem::create_symlink(dir / "a", dir / "l");
    directories.List(dir.Path(), {{"l", DT_LNK}});
    EXPECT_EQ(All(dir.Path()), (Found{{"/l", S_IFDIR}}));
}

TEST_F(Walk, ABrokenLinkHasNoType) {
    std::filesystem::create_symlink("nothing", dir / "l");
    EXPECT_EQ(All(dir.Path()), (Found{{"/l", 0}}));
}

TEST_F(Walk, AStatusThatCannotBeReadRaises) {
    std::filesystem::create_symlink("l", dir / "l");
    TreeWalk walk(dir.Path());
    ASSERT_TRUE(walk.Next());
    EXPECT_TRUE(Throws<filesystem_error>([&] { static_cast<void>(walk.Type()); }));
}

TEST_F(Walk, APathTooLongToBeOpenedHasNoStatus) {
    // The name exists where it is listed; it is the whole path that is too long.
    std::string deep = dir.Path();
    while (deep.size() < 3900) {
        deep += "/" + std::string(180, 'd');
    }
    test_support::MakeDirs(deep);
    const std::string name(4096 - deep.size() - 2, 'f');
    WriteFile(deep + "/" + name, "");
    directories.List(deep, {{name}, {name + "f"}});
    TreeWalk walk(deep);
    ASSERT_TRUE(walk.Next());
    EXPECT_EQ(walk.Path().size(), 4095U);
    EXPECT_EQ(walk.Type(), S_IFREG);
    ASSERT_TRUE(walk.Next());
    EXPECT_EQ(walk.Path().size(), 4096U);
    EXPECT_TRUE(Throws<filesystem_error>([&] { static_cast<void>(walk.Type()); }));
}

TEST_F(Walk, TypesThatTheListingDoesNotTellAreAskedFor) {
    WriteFile(dir / "a/f", "");
    WriteFile(dir / "b", "");
    std::filesystem::create_symlink("a", dir / "l");
    directories.List(dir.Path(), {{"l", DT_UNKNOWN}, {"b", DT_UNKNOWN}, {"a", DT_UNKNOWN}});
    EXPECT_EQ(All(dir.Path()),
              (Found{{"/l", S_IFDIR}, {"/b", S_IFREG}, {"/a", S_IFDIR}, {"/a/f", S_IFREG}}));
}

TEST_F(Walk, ARootThatCannotBeListedRaisesOrIsEmpty) {
    WriteFile(dir / "f", "");
    for (const std::string& root : {dir / "nothing", dir / "f", std::string()}) {
        EXPECT_TRUE(Throws<filesystem_error>([&] { const TreeWalk walk(root); })) << root;
        boost::system::error_code failure;
        TreeWalk walk(root, failure);
        EXPECT_TRUE(failure) << root;
        EXPECT_FALSE(walk.Next()) << root;
    }
}

TEST_F(Walk, ADirectoryThatVanishedIsPassedOver) {
    WriteFile(dir / "f", "");
    directories.List(dir.Path(), {{"gone", DT_DIR}, {"f"}});
    TreeWalk walk(dir.Path());
    ASSERT_TRUE(walk.Next());
    EXPECT_EQ(walk.Path(), dir / "gone");
    ASSERT_TRUE(walk.Next());
    EXPECT_EQ(walk.Path(), dir / "f");
    EXPECT_FALSE(walk.Next());
}

TEST_F(Walk, ADirectoryFurtherDownThatCannotBeListedRaises) {
    std::filesystem::create_symlink("loop", dir / "loop");
    directories.List(dir.Path(), {{"loop", DT_DIR}});
    boost::system::error_code failure;
    TreeWalk walk(dir.Path(), failure);
    EXPECT_FALSE(failure);
    ASSERT_TRUE(walk.Next());
    EXPECT_TRUE(Throws<filesystem_error>([&] { walk.Next(); }));
}

TEST_F(Walk, AListingThatBreaksOffRaises) {
    WriteFile(dir / "f", "");
    directories.List(dir.Path(), {{"f"}}, EIO);
    TreeWalk walk(dir.Path());
    ASSERT_TRUE(walk.Next());
    EXPECT_TRUE(Throws<filesystem_error>([&] { walk.Next(); }));
}

TEST_F(Walk, AListingWhoseFirstEntryCannotBeReadRaisesOrIsEmpty) {
    directories.List(dir.Path(), {}, EIO);
    int error = 0;
    try {
        const TreeWalk walk(dir.Path());
    } catch (const filesystem_error& failure) {
        error = failure.code().value();
    }
    EXPECT_EQ(error, EIO);
    boost::system::error_code failure;
    TreeWalk walk(dir.Path(), failure);
    EXPECT_EQ(failure.value(), EIO);
    EXPECT_FALSE(walk.Next());
    EXPECT_EQ(directories.Open(), 0U);
}

TEST_F(Walk, AnUntoldTypeThatCannotBeReadRaisesBehindItsEntry) {
    WriteFile(dir / "a/f", "");
    std::filesystem::permissions(dir.Path(), std::filesystem::perms(0755));
    std::filesystem::permissions(dir / "a", std::filesystem::perms(0644));
    directories.List(dir / "a", {{"f", DT_UNKNOWN}});
    {
        const test_support::Unprivileged user;
        TreeWalk walk(dir / "a");
        ASSERT_TRUE(walk.Next());
        EXPECT_EQ(walk.Path(), dir / "a/f");
        EXPECT_TRUE(Throws<filesystem_error>([&] { static_cast<void>(walk.Type()); }));
        EXPECT_TRUE(Throws<filesystem_error>([&] { walk.Next(); }));
    }
    std::filesystem::permissions(dir / "a", std::filesystem::perms(0755));
}

TEST_F(Walk, AnEntryOfAnUntoldTypeThatIsGoneIsPassedOver) {
    WriteFile(dir / "f", "");
    std::filesystem::create_symlink("f/x", dir / "l");
    directories.List(dir.Path(), {{"gone", DT_UNKNOWN}, {"l", DT_UNKNOWN}, {"f", DT_UNKNOWN}});
    EXPECT_EQ(All(dir.Path()), (Found{{"/gone", 0}, {"/l", 0}, {"/f", S_IFREG}}));
}

TEST_F(Walk, ADirectoryIsClosedWhenItsEntriesAreThrough) {
    WriteFile(dir / "a/f", "");
    WriteFile(dir / "b/f", "");
    WriteFile(dir / "c/f", "");
    EXPECT_EQ(All(dir.Path()).size(), 6U);
    EXPECT_EQ(directories.MostOpen(), 2U);
    EXPECT_EQ(directories.Open(), 0U);
}

}  // namespace
