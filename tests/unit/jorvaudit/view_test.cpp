#include "jorvaudit/view.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <set>

#include "tests/support/temp_dir.h"

namespace {

using namespace jorvaudit;  // NOLINT(google-build-using-namespace)
namespace fs = std::filesystem;
using test_support::ReadFile;
using test_support::TempDir;
using test_support::WriteFile;
using testing::ElementsAre;

class ViewTest : public testing::Test {
  protected:
    ViewTest() {
        for (const char* const name : {"header", "extents", "unit"}) {
            WriteFile(share_ / name, name);
        }
    }

    [[nodiscard]] std::set<std::string> Listed(const std::string& path) const {
        std::set<std::string> names;
        for (const fs::directory_entry& entry : fs::directory_iterator(scratch_ / path)) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }

    TempDir share_;
    TempDir scratch_;
};

TEST_F(ViewTest, EachTreeLeadsToTheFilesEntry) {
    View view(scratch_ / "0");
    const std::string unit = share_ / "unit";
    view.Add(share_ / "header", share_ / "extents", &unit);
    view.Add(share_ / "header", share_ / "extents", nullptr);
    EXPECT_EQ(ReadFile(scratch_ / "0/head/0"), "header");
    EXPECT_EQ(ReadFile(scratch_ / "0/map/0"), "extents");
    EXPECT_EQ(ReadFile(scratch_ / "0/stu/0"), "unit");
    EXPECT_EQ(ReadFile(scratch_ / "0/stu/1"), "");
    EXPECT_TRUE(fs::is_regular_file(scratch_ / "0/stu/1"));
}

TEST_F(ViewTest, AWalkThroughTheViewMeetsHeadersAlone) {
    View view(scratch_ / "0");
    view.Add(share_ / "header", share_ / "extents", nullptr);
    std::set<std::string> met;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(view.Path())) {
        met.insert(fs::relative(entry.path().parent_path(), view.Path()) / entry.path().filename());
    }
    EXPECT_THAT(met, ElementsAre("./head", "./map", "./stu", "head/0"));
}

TEST_F(ViewTest, AClearedViewTakesOtherFiles) {
    View view(scratch_ / "0");
    view.Add(share_ / "header", share_ / "extents", nullptr);
    view.Clear();
    EXPECT_THAT(Listed("0/head"), ElementsAre());
    EXPECT_THAT(Listed("0/map"), ElementsAre());
    view.Add(share_ / "extents", share_ / "header", nullptr);
    EXPECT_EQ(ReadFile(scratch_ / "0/head/0"), "extents");
}

TEST_F(ViewTest, WhatAnEndedProcessLeftIsEmptied) {
    {
        View left(scratch_ / "0");
        left.Add(share_ / "header", share_ / "extents", nullptr);
    }
    View view(scratch_ / "0");
    for (const char* const tree : {"0/head", "0/map"}) {
        EXPECT_THAT(Listed(tree), ElementsAre()) << tree;
    }
    view.Add(share_ / "extents", share_ / "header", nullptr);
    EXPECT_EQ(ReadFile(scratch_ / "0/head/0"), "extents");
}

TEST_F(ViewTest, APathHasTheNumberOfItsFile) {
    const View view(scratch_ / "0");
    EXPECT_EQ(view.NumberOf(view.Path() + "/map/17"), 17);
    EXPECT_EQ(view.NumberOf(view.Path() + "/head/0"), 0);
    EXPECT_EQ(view.NumberOf(view.Path() + "/stu/nothing"), -1);
    EXPECT_EQ(view.NumberOf(view.Path() + "/map/17/data.mdb"), -1);
    EXPECT_EQ(view.NumberOf(share_ / "map/17"), -1);
}

}  // namespace
