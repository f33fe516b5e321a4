#include "jorvshare/pack/source_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <utility>
#include <vector>

#include "jorvshare/site/keep_going.h"
#include "tests/support/temp_dir.h"

namespace {

using jorvshare::InputError;
using jorvshare::kMaxExtent;
using jorvshare::SourceFile;
using test_support::TempDir;
using test_support::WriteFile;

using Ranges = std::vector<std::pair<std::uint64_t, std::size_t>>;

Ranges PiecesOf(SourceFile* file) {
    Ranges ranges;
    file->ForEachPiece([&](std::uint64_t offset, std::span<const std::byte> data) {
        ranges.emplace_back(offset, data.size());
    });
    return ranges;
}

class SourceFileTest : public testing::Test {
  protected:
    void ExpectChanged(const std::function<void()>& action) {
        try {
            action();
            ADD_FAILURE() << "no error";
        } catch (const terminal::ToolError& error) {
            EXPECT_EQ(error.Message(), path_ + ": changed while it was packed");
        }
    }

    TempDir temp_;
    std::string path_ = temp_ / "f";
    jorvshare::Root root_{temp_.Path()};
};

TEST_F(SourceFileTest, DataIsCutAtTheGrid) {
    WriteFile(path_, std::string(2 * kMaxExtent + 1, 'x'));
    SourceFile file(root_, "f");
    EXPECT_EQ(PiecesOf(&file),
              (Ranges{{0, kMaxExtent}, {kMaxExtent, kMaxExtent}, {2 * kMaxExtent, 1}}));
}

TEST_F(SourceFileTest, DataThatBeginsBesideTheGridIsCutAtItAllTheSame) {
    const int made = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const std::string data(kMaxExtent, 'x');
    ASSERT_EQ(::pwrite(made, data.data(), data.size(), 3 * kMaxExtent + 65536),
              static_cast<ssize_t>(kMaxExtent));
    ::close(made);
    SourceFile file(root_, "f");
    EXPECT_EQ(PiecesOf(&file), (Ranges{{3 * kMaxExtent + 65536, 65536}, {4 * kMaxExtent, 65536}}));
}

TEST_F(SourceFileTest, AnEmptyFileAndAHoleHaveNoPieces) {
    WriteFile(path_, std::string_view());
    SourceFile empty(root_, "f");
    EXPECT_EQ(PiecesOf(&empty), Ranges());
    std::filesystem::resize_file(path_, 10 * kMaxExtent);
    SourceFile hole(root_, "f");
    EXPECT_EQ(PiecesOf(&hole), Ranges());
    EXPECT_EQ(hole.Size(), static_cast<std::int64_t>(10 * kMaxExtent));
}

TEST_F(SourceFileTest, AFileThatBecameShorterIsNotPackedWithZeros) {
    for (const std::size_t left : {std::size_t{0}, std::size_t{1}, kMaxExtent, kMaxExtent + 5}) {
        WriteFile(path_, std::string(2 * kMaxExtent, 'x'));
        SourceFile file(root_, "f");
        std::filesystem::resize_file(path_, left);
        ExpectChanged([&] { PiecesOf(&file); });
    }
}

TEST_F(SourceFileTest, AFileThatBecameLongerIsPackedAsItWas) {
    WriteFile(path_, "12345");
    SourceFile file(root_, "f");
    WriteFile(path_, "1234567");
    EXPECT_EQ(PiecesOf(&file), (Ranges{{0, 5}}));
}

TEST_F(SourceFileTest, WhatIsNoFileAnyMoreIsRefused) {
    std::filesystem::create_directory(path_);
    ExpectChanged([&] { const SourceFile file(root_, "f"); });
    std::filesystem::create_symlink("f", temp_ / "link");
    EXPECT_THROW(SourceFile(root_, "link"), InputError);
    EXPECT_THROW(SourceFile(root_, "none"), InputError);
}

}  // namespace
