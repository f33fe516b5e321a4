#include "jorvck/vcopy_check.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <new>
#include <tuple>
#include <vector>

#include "tests/interposed/files.h"
#include "tests/support/captured_streams.h"
#include "tests/support/temp_dir.h"
#include "tests/support/throws.h"

namespace {

using Corvane::Kst::Marlow::JorvCk::getImageList;
using Corvane::Kst::Marlow::JorvCk::validateImageInfo;
using test_support::Capture;
using test_support::WriteFile;
using namespace std::string_literals;

using Record = std::tuple<std::string, std::string, std::string>;
using Records = std::vector<Record>;

class ImageList : public testing::Test {
  protected:
    /// Reads the list of `sharePath`; keeps records and text.
    int Read(const std::string& sharePath) {
        int result = 77;
        captured = Capture([&] { result = getImageList(sharePath.c_str(), &images); });
        return result;
    }

    /// As above, of a list with this text.
    int ReadText(std::string_view text) {
        WriteFile(dir / "vcopy.dat", text);
        return Read(dir.Path());
    }

    [[nodiscard]] Records Images() const {
        Records records;
        for (const validateImageInfo& image : images) {
            records.emplace_back(image.policy, image.backupTime, image.imageName);
        }
        return records;
    }

    [[nodiscard]] std::string BackupTimeLine() const {
        return "[JORVCK_VCOPY] Failed to parse backuptime in " + (dir / "vcopy.dat") + "\n";
    }

    test_support::TempDir dir;
    std::list<validateImageInfo> images;
    test_support::Captured captured;
};

TEST_F(ImageList, OneGroupGivesARecordPerImage) {
    EXPECT_EQ(ReadText("P\nT\nimg1;img2;\n"), 0);
    EXPECT_EQ(Images(), (Records{{"P", "T", "img1"}, {"P", "T", "img2"}}));
    EXPECT_EQ(captured.out, "img1\nimg2\n");
    EXPECT_EQ(captured.err, "");
}

TEST_F(ImageList, GroupsComeInFileOrder) {
    EXPECT_EQ(ReadText("P\nT\nb;a;\nQ\nU\nc;\n"), 0);
    EXPECT_EQ(Images(), (Records{{"P", "T", "b"}, {"P", "T", "a"}, {"Q", "U", "c"}}));
    EXPECT_EQ(captured.out, "b\na\nc\n");
}

TEST_F(ImageList, AnImageWithoutItsSemicolonIsNotListed) {
    EXPECT_EQ(ReadText("P\nT\nimg1;img2\n"), 0);
    EXPECT_EQ(Images(), (Records{{"P", "T", "img1"}}));
    EXPECT_EQ(captured.out, "img1\n");
}

TEST_F(ImageList, AGroupWithoutASemicolonIsPassedOver) {
    EXPECT_EQ(ReadText("P\nT\nimg1\nQ\nU\n\nR\nV\nx;\n"), 0);
    EXPECT_EQ(Images(), (Records{{"R", "V", "x"}}));
    EXPECT_EQ(captured.err, "");
}

TEST_F(ImageList, EmptyPiecesAreImagesWithoutAName) {
    EXPECT_EQ(ReadText("P\nT\n;;a;;\n"), 0);
    EXPECT_EQ(Images(), (Records{{"P", "T", ""}, {"P", "T", ""}, {"P", "T", "a"}, {"P", "T", ""}}));
    EXPECT_EQ(captured.out, "\n\na\n\n");
}

TEST_F(ImageList, TextsAreTakenAsTheyAre) {
    EXPECT_EQ(ReadText(" P;\t\r\n\r\nimg 1\r; \xFF;\r\n"), 0);
    EXPECT_EQ(Images(), (Records{{" P;\t\r", "\r", "img 1\r"}, {" P;\t\r", "\r", " \xFF"}}));
    EXPECT_EQ(captured.out, "img 1\r\n \xFF\n");
}

TEST_F(ImageList, NulBytesStay) {
    EXPECT_EQ(ReadText("P\0\nT\0x\na\0b;\n"s), 0);
    EXPECT_EQ(Images(), (Records{{"P\0"s, "T\0x"s, "a\0b"s}}));
    EXPECT_EQ(captured.out, "a\0b\n"s);
}

TEST_F(ImageList, DuplicatesAndEmptyPoliciesAreAccepted) {
    EXPECT_EQ(ReadText("\n\na;a;\n"), 0);
    EXPECT_EQ(Images(), (Records{{"", "", "a"}, {"", "", "a"}}));
}

TEST_F(ImageList, ALastLineWithoutALineFeedCounts) {
    EXPECT_EQ(ReadText("P\nT\nimg1;"), 0);
    EXPECT_EQ(Images(), (Records{{"P", "T", "img1"}}));
    EXPECT_EQ(captured.err, "");
}

TEST_F(ImageList, AnEmptyFileIsAnEmptyList) {
    EXPECT_EQ(ReadText(""), 0);
    EXPECT_EQ(Images(), Records{});
    EXPECT_EQ(captured.out + captured.err, "");
}

TEST_F(ImageList, AFileThatEndsBehindThePolicyMissesItsBackupTime) {
    for (const char* const text : {"P", "P\n", "\n"}) {
        EXPECT_EQ(ReadText(text), -1) << text;
        EXPECT_EQ(captured.err, BackupTimeLine()) << text;
        EXPECT_EQ(captured.out, "") << text;
    }
    EXPECT_EQ(Images(), Records{});
}

TEST_F(ImageList, AFileThatEndsBehindTheBackupTimeGivesTheSameLine) {
    for (const char* const text : {"P\nT", "P\nT\n", "P\n\n"}) {
        EXPECT_EQ(ReadText(text), -1) << text;
        EXPECT_EQ(captured.err, BackupTimeLine()) << text;
    }
    EXPECT_EQ(Images(), Records{});
}

TEST_F(ImageList, ABlankLineBehindTheLastGroupIsThePolicyOfAnother) {
    EXPECT_EQ(ReadText("P\nT\nimg1;\n\n"), -1);
    EXPECT_EQ(Images(), (Records{{"P", "T", "img1"}}));
    EXPECT_EQ(captured.out, "img1\n");
    EXPECT_EQ(captured.err, BackupTimeLine());
}

TEST_F(ImageList, RecordsOfTheGroupsBeforeAFailureStay) {
    EXPECT_EQ(ReadText("P\nT\na;\nQ\nU\nb;c\nR\n"), -1);
    EXPECT_EQ(Images(), (Records{{"P", "T", "a"}, {"Q", "U", "b"}}));
    EXPECT_EQ(captured.out, "a\nb\n");
}

TEST_F(ImageList, EveryLengthOfAListIsReadOrRefusedByItsLinesAlone) {
    const std::string whole = "P\nT\na;b;\nQ\nU\nc;\n";
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        images.clear();
        const std::string text = whole.substr(0, length);
        // Lines begun: a group is whole when its third has begun.
        std::size_t lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
        lines += text.empty() || text.back() == '\n' ? 0U : 1U;
        const int result = ReadText(text);
        EXPECT_EQ(result, lines % 3 == 0 ? 0 : -1) << text;
        EXPECT_EQ(captured.err, lines % 3 == 0 ? "" : BackupTimeLine()) << text;
        const std::size_t closed =
            static_cast<std::size_t>(std::count(text.begin(), text.end(), ';'));
        EXPECT_EQ(images.size(), closed) << text;
    }
}

TEST_F(ImageList, RecordsAreAppendedBehindThoseOfTheCaller) {
    images.push_back({"old", "older", "oldest"});
    EXPECT_EQ(ReadText("P\nT\na;\n"), 0);
    EXPECT_EQ(Images(), (Records{{"old", "older", "oldest"}, {"P", "T", "a"}}));
}

TEST_F(ImageList, AFinalSlashOfTheShareMakesNoDifference) {
    WriteFile(dir / "vcopy.dat", "P");
    EXPECT_EQ(Read(dir.Path() + "/"), -1);
    EXPECT_EQ(captured.err, BackupTimeLine()) << "one slash between the share and the name";
}

TEST_F(ImageList, AMissingFileIsToldOnStandardError) {
    EXPECT_EQ(Read(dir.Path()), -1);
    EXPECT_EQ(captured.err, "[JORVCK_VCOPY] Vcopy file not found!\n");
    EXPECT_EQ(captured.out, "");
    EXPECT_EQ(Read("/no such share"), -1);
    EXPECT_EQ(captured.err, "[JORVCK_VCOPY] Vcopy file not found!\n");
}

TEST_F(ImageList, AnEmptySharePathReadsFromTheRoot) {
    ASSERT_FALSE(std::filesystem::exists("/vcopy.dat"));
    // A list in the current directory must not be taken instead.
    const std::filesystem::path before = std::filesystem::current_path();
    WriteFile(dir / "vcopy.dat", "P\nT\na;\n");
    std::filesystem::current_path(dir.Path());
    EXPECT_EQ(Read(""), -1);
    std::filesystem::current_path(before);
    EXPECT_EQ(captured.err, "[JORVCK_VCOPY] Vcopy file not found!\n");
}

TEST_F(ImageList, AFifoIsAFileThatCannotBeOpened) {
    ASSERT_EQ(::mkfifo((dir / "vcopy.dat").c_str(), 0600), 0);
    EXPECT_EQ(Read(dir.Path()), -1);
    EXPECT_EQ(captured.err, "[JORVCK_VCOPY] Vcopy file not found!\n");
}

TEST_F(ImageList, ADeviceIsAFileThatCannotBeOpened) {
    WriteFile(dir / "vcopy.dat", "P\nT\na;\n");
    for (const int type : {S_IFCHR, S_IFBLK, S_IFIFO}) {
        interposed::Files files(dir.Path(), 0);
        files.ShowAs(dir / "vcopy.dat", static_cast<mode_t>(type));
        EXPECT_EQ(Read(dir.Path()), -1);
        EXPECT_EQ(captured.err, "[JORVCK_VCOPY] Vcopy file not found!\n");
        EXPECT_EQ(files.Calls(), std::vector<std::string>{"stat64 /vcopy.dat"});
    }
    EXPECT_EQ(Read(dir.Path()), 0);
}

TEST_F(ImageList, ALinkToADeviceIsOneToo) {
    std::filesystem::create_symlink("/dev/null", dir / "vcopy.dat");
    EXPECT_EQ(Read(dir.Path()), -1);
    EXPECT_EQ(captured.err, "[JORVCK_VCOPY] Vcopy file not found!\n");
}

TEST_F(ImageList, AReadErrorAtThePolicyHasALineOfItsOwn) {
    std::filesystem::create_directory(dir / "vcopy.dat");
    EXPECT_EQ(Read(dir.Path()), -1);
    EXPECT_EQ(captured.err,
              "[JORVCK_VCOPY] Failed to parse policy in " + (dir / "vcopy.dat") + "\n");
    EXPECT_EQ(captured.out, "");
}

TEST_F(ImageList, ALineOfAMebibyteIsALine) {
    const std::string name(1U << 20U, 'n');
    EXPECT_EQ(ReadText("P\nT\n" + name + ";\n"), 0);
    EXPECT_EQ(Images(), (Records{{"P", "T", name}}));
}

TEST_F(ImageList, TheLinesOfAGroupAndAllRecordsMayTake256MiBAndNotAByteMore) {
    constexpr std::size_t kBudget = 256UL << 20U;
    constexpr std::size_t kImages = 50;  // of each of two groups
    constexpr std::size_t kTime = 1000;
    std::string names;
    for (std::size_t image = 0; image < kImages; ++image) {
        names += "n;";
    }
    // A long policy and the time count with the lines of their group and again with every record.
    constexpr std::size_t kCopies = 2 * kImages + 1;
    const std::size_t left = kBudget - names.size() - 2 * kImages * (sizeof(validateImageInfo) + 1);
    const std::string group =
        std::string(left / kCopies - kTime, 'p') + "\n" + std::string(kTime, 't') + "\n" + names;
    const std::string text = group + "\n" + group + std::string(left % kCopies, 'r');
    EXPECT_EQ(ReadText(text), 0);
    EXPECT_EQ(images.size(), 2 * kImages);
    images.clear();
    bool thrown = false;
    Capture([&] {
        thrown = test_support::Throws<std::bad_alloc>([&] {
            WriteFile(dir / "vcopy.dat", text + "r");
            getImageList(dir.Path().c_str(), &images);
        });
    });
    EXPECT_TRUE(thrown);
    EXPECT_EQ(images.size(), 2 * kImages - 1);
}

}  // namespace
