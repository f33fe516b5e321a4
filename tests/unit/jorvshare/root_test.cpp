#include "jorvshare/site/root.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>

#include "terminal/tool_error.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/jorvshare/tool_run.h"

namespace {

namespace fs = std::filesystem;
using jorvshare::BytesOf;
using jorvshare::Root;
using terminal::ToolError;
using test_support::ReadFile;
using test_support::TempDir;
using test_support::WriteFile;

class RootTest : public testing::Test {
  protected:
    RootTest() {
        WriteFile(temp_ / "root/d/f", "inside");
        WriteFile(temp_ / "outside/x", "outside");
        fs::create_directory_symlink(temp_ / "outside", temp_ / "root/link");
        fs::create_directory_symlink("d", temp_ / "root/inner");
        fs::create_symlink(temp_ / "outside/x", temp_ / "root/file");
        root_.emplace(temp_ / "root");
    }

    // Fails with the line and changes nothing anywhere.
    void ExpectRefused(const std::function<void(const Root&)>& work, const std::string& line) {
        const auto before = tool_test::Snapshot(temp_.Path());
        try {
            work(*root_);
            ADD_FAILURE() << "no error: " << line;
        } catch (const ToolError& error) {
            EXPECT_EQ(error.Message(), line);
        }
        EXPECT_EQ(tool_test::Snapshot(temp_.Path()), before);
    }

    TempDir temp_;
    std::optional<Root> root_;
};

TEST_F(RootTest, NoOperationLeavesTheDirectory) {
    for (const std::string way : {"link", "inner", "..", "d/../..", "/"}) {
        const auto line = [&](const std::string& path) {
            return temp_ / ("root/" + path) +
                   ": a symbolic link or \"..\" is in the path; none is followed";
        };
        const std::string path = way + "/x";
        // What would be opened is named: the path itself, or what is to hold it.
        ExpectRefused([&](const Root& root) { static_cast<void>(root.Open(path, O_RDONLY)); },
                      line(path));
        ExpectRefused([&](const Root& root) { root.Write(path, BytesOf("y"), 0600); }, line(path));
        ExpectRefused([&](const Root& root) { root.MakeDirectory(way + "/new", 0700); }, line(way));
        ExpectRefused([&](const Root& root) { root.MakeDirectories(way + "/a/b", 0700); },
                      line(way + "/a/b"));
        ExpectRefused([&](const Root& root) { root.Remove(path); }, line(path));
        ExpectRefused([&](const Root& root) { root.Rename("d/f", way + "/f"); }, line(way));
        ExpectRefused([&](const Root& root) { root.Rename(path, "d/g"); }, line(way));
        ExpectRefused([&](const Root& root) { static_cast<void>(root.TypeOf(path)); }, line(path));
        ExpectRefused([&](const Root& root) { static_cast<void>(root.List(way)); }, line(way));
    }
    ExpectRefused([&](const Root& root) { static_cast<void>(root.Open("file", O_RDONLY)); },
                  temp_ / "root/file: a symbolic link or \"..\" is in the path; none is followed");
}

TEST_F(RootTest, ALinkItselfCanBeSeenListedAndRemoved) {
    EXPECT_EQ(root_->TypeOf("link"), static_cast<mode_t>(S_IFLNK));
    EXPECT_EQ(root_->TypeOf("d"), static_cast<mode_t>(S_IFDIR));
    EXPECT_EQ(root_->TypeOf("d/f"), static_cast<mode_t>(S_IFREG));
    EXPECT_EQ(root_->TypeOf("none"), 0U);
    std::vector<std::string> names;
    for (const auto& entry : root_->List("")) {
        names.push_back(entry.name);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"d", "file", "inner", "link"}));
    root_->Remove("link");
    root_->Remove("none");
    EXPECT_EQ(ReadFile(temp_ / "outside/x"), "outside");
    fs::create_directory_symlink(temp_ / "outside", temp_ / "root/d/deeper");
    root_->Remove("d");
    EXPECT_EQ(ReadFile(temp_ / "outside/x"), "outside");
    EXPECT_FALSE(fs::exists(temp_ / "root/d"));
}

TEST_F(RootTest, TheDirectoryItselfMayBeReachedByALink) {
    const Root behind(temp_ / "root/link");
    behind.Write("y", BytesOf("y"), 0600);
    EXPECT_EQ(ReadFile(temp_ / "outside/y"), "y");
}

TEST_F(RootTest, WhatIsThereIsNotReplacedUnlessThatIsWanted) {
    WriteFile(temp_ / "root/d/g", "other");
    ExpectRefused([](const Root& root) { root.Rename("d/f", "d/g"); },
                  temp_ / "root/d/g: File exists (errno 17)");
    ExpectRefused([](const Root& root) { root.Write("d/f", BytesOf("y"), 0600); },
                  temp_ / "root/d/f: File exists (errno 17)");
    root_->Rename("d/f", "d/g", true);
    EXPECT_EQ(ReadFile(temp_ / "root/d/g"), "inside");
}

TEST_F(RootTest, ANameWithANulByteIsNoName) {
    EXPECT_THROW(root_->Write(std::string("a\0b", 3), BytesOf("y"), 0600), ToolError);
}

}  // namespace
