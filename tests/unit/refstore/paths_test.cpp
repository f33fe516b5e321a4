#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "refstore/paths.h"
#include "storage/jorv_utils.h"
#include "storage/klfs.h"
#include "tests/unit/refstore/config_in_child.h"

namespace {

using Corvane::Kst::Marlow::Jorv::JorvUtils;
using refstore::IsInside;

TEST(ShareDirectory, IsTheLastDigitOfAnIdThatEndsInOne) {
    EXPECT_EQ(JorvUtils::GetShareDir("12"), "2");
    EXPECT_EQ(JorvUtils::GetShareDir("0"), "0");
    EXPECT_EQ(JorvUtils::GetShareDir("share-9"), "9");
    EXPECT_EQ(JorvUtils::GetShareDir("../7"), "7");
}

// The hash is part of the layout of every site: these never change.
TEST(ShareDirectory, OfAnyOtherIdIsAFixedDigit) {
    EXPECT_EQ(JorvUtils::GetShareDir(""), "8");
    EXPECT_EQ(JorvUtils::GetShareDir("accounts"), "4");
    EXPECT_EQ(JorvUtils::GetShareDir("1a"), "3");
    EXPECT_EQ(JorvUtils::GetShareDir("\xd9\xa3"), "3") << "only ASCII digits count";
}

TEST(ShareDirectory, IsOneDigitForAnyId) {
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i) {
        seen.insert(JorvUtils::GetShareDir(std::to_string(i) + "x"));
    }
    EXPECT_EQ(seen, (std::set<std::string>{"0", "1", "2", "3", "4", "5", "6", "7", "8", "9"}));
    EXPECT_EQ(JorvUtils::GetShareDir(std::string(1000000, 'x')).size(), 1U);
}

TEST(PathPrefix, GoesByWholeComponents) {
    EXPECT_TRUE(IsInside("/a/b", "/a/b"));
    EXPECT_TRUE(IsInside("/a/b/c", "/a/b"));
    EXPECT_TRUE(IsInside("/a/b/c/d", "/a/b"));
    EXPECT_FALSE(IsInside("/a/bc", "/a/b"));
    EXPECT_FALSE(IsInside("/a", "/a/b"));
    EXPECT_FALSE(IsInside("/b/a/b", "/a/b"));
    EXPECT_TRUE(IsInside("/a", "/"));
    EXPECT_TRUE(IsInside("/", "/"));
    EXPECT_FALSE(IsInside("/", "/a"));
}

TEST(PathPrefix, DotsAndSlashesDoNotMatter) {
    EXPECT_TRUE(IsInside("/a//b/./c", "/a/b/"));
    EXPECT_TRUE(IsInside("/a/b/", "/a/b"));
    EXPECT_TRUE(IsInside("/a/b/.", "/a/b"));
    EXPECT_TRUE(IsInside("/x/../a/b/c", "/a/./b"));
    EXPECT_FALSE(IsInside("/a/b/../c", "/a/b"));
    EXPECT_TRUE(IsInside("//a/b", "/a"));
    EXPECT_TRUE(IsInside("/../a", "/a"));
}

TEST(PathPrefix, RelativePathsAreSeenFromTheCurrentDirectory) {
    const std::string here = std::filesystem::current_path().string();
    EXPECT_TRUE(IsInside("a/b", here + "/a"));
    EXPECT_TRUE(IsInside(here + "/a/b", "a"));
    EXPECT_TRUE(IsInside("a", "."));
    EXPECT_FALSE(IsInside("../a", "."));
    EXPECT_FALSE(IsInside("ab", "a"));
}

TEST(PathPrefix, TheEmptyPathIsNowhere) {
    EXPECT_FALSE(IsInside("", "/"));
    EXPECT_FALSE(IsInside("/a", ""));
    EXPECT_FALSE(IsInside("", ""));
}

TEST(Klfs, IsBelowAConfiguredPrefix) {
    refstore_test::ExpectInChild([] {
        const refstore_test::ConfiguredDir dir("klfs_prefixes = ['/mnt/k', 'volumes/k']\n");
        EXPECT_TRUE(IsKlfs("/mnt/k"));
        EXPECT_TRUE(IsKlfs("/mnt/k/a"));
        EXPECT_FALSE(IsKlfs("/mnt/kk"));
        EXPECT_FALSE(IsKlfs("/mnt"));
        EXPECT_TRUE(IsKlfs((dir / "volumes/k/x").c_str()));
        EXPECT_FALSE(IsKlfs((dir / "volumes/l").c_str()));
        EXPECT_FALSE(IsKlfs(""));
    });
}

TEST(Klfs, WithoutPrefixesNothingIs) {
    refstore_test::ExpectInChild([] {
        const refstore_test::ConfiguredDir dir("");
        EXPECT_FALSE(IsKlfs("/"));
        EXPECT_FALSE(IsKlfs("/mnt/k"));
    });
}

}  // namespace
