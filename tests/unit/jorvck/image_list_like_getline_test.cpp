#include <gtest/gtest.h>

#include <iostream>
#include <list>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "jorvck/vcopy_check.h"
#include "tests/support/captured_streams.h"
#include "tests/support/temp_dir.h"

namespace {

using Corvane::Kst::Marlow::JorvCk::getImageList;
using Corvane::Kst::Marlow::JorvCk::validateImageInfo;

/// What reading a list shows: its result, its records, and what it prints on both streams.
using Shown = std::tuple<int, std::vector<std::string>, std::string, std::string>;

/// The list read with std::getline: groups of three lines, a record per ";" of the third.
Shown ReadByGetline(const std::string& text, const std::string& path) {
    std::vector<std::string> records;
    std::string out;
    std::istringstream file(text);
    std::string policy;
    while (std::getline(file, policy)) {
        std::string backupTime;
        std::string names;
        if (!std::getline(file, backupTime) || !std::getline(file, names)) {
            return {-1, records, out,
                    "[JORVCK_VCOPY] Failed to parse backuptime in " + path + "\n"};
        }
        std::istringstream pieces(names);
        // A piece that the line's end closes is no image.
        for (std::string name; std::getline(pieces, name, ';') && !pieces.eof();) {
            records.insert(records.end(), {policy, backupTime, name});
            out += name + "\n";
        }
    }
    return {0, records, out, ""};
}

class ImageListLikeGetline : public testing::Test {
  protected:
    Shown Read(const std::string& text) const {
        test_support::WriteFile(dir / "vcopy.dat", text);
        std::list<validateImageInfo> images;
        int result = 77;
        auto written =
            test_support::Capture([&] { result = getImageList(dir.Path().c_str(), &images); });
        std::vector<std::string> records;
        for (const validateImageInfo& image : images) {
            records.insert(records.end(), {image.policy, image.backupTime, image.imageName});
        }
        return {result, std::move(records), std::move(written.out), std::move(written.err)};
    }

    [[nodiscard]] bool IsReadAlike(const std::string& text) const {
        return Read(text) == ReadByGetline(text, dir / "vcopy.dat");
    }

    test_support::TempDir dir;
};

TEST_F(ImageListLikeGetline, LinesOfEveryLengthAroundTheOnesThatAreReadAtOnce) {
    for (const std::size_t length :
         {0U, 1U, 4094U, 4095U, 4096U, 4097U, 8189U, 8190U, 8191U, 8192U, 12285U}) {
        for (const char byte : {'y', '\0', ';'}) {
            const std::string line(length, byte);
            for (const char* const end : {"", "\n", "\nz"}) {
                EXPECT_TRUE(IsReadAlike(line + end)) << length;
                EXPECT_TRUE(IsReadAlike("P\n" + line + end)) << length;
                EXPECT_TRUE(IsReadAlike("P\nT\n" + line + end)) << length;
                EXPECT_TRUE(IsReadAlike("P\nT\n" + line + ";" + end)) << length;
                EXPECT_TRUE(IsReadAlike(line + "\nT\na;b;" + end)) << length;
                EXPECT_TRUE(IsReadAlike("P\n" + line + "\na;b;" + end)) << length;
            }
        }
    }
}

TEST_F(ImageListLikeGetline, RandomTexts) {
    constexpr std::mt19937::result_type kFirstSeed = 20261121;
    std::cout << "first seed " << kFirstSeed << "\n";
    for (std::mt19937::result_type seed = kFirstSeed; seed < kFirstSeed + 500; ++seed) {
        std::mt19937 engine(seed);
        const auto below = [&](std::size_t count) { return engine() % count; };
        std::string text;
        for (std::size_t pieces = below(30); pieces > 0; --pieces) {
            switch (below(6)) {
                case 0:
                    text.append(4095 * (1 + below(2)) - 2 + below(5), 'y');
                    break;
                case 1:
                    text += '\0';
                    break;
                case 2:
                    text += ';';
                    break;
                case 3:
                    text += "x\r";
                    break;
                default:
                    text += '\n';
            }
        }
        EXPECT_TRUE(IsReadAlike(text)) << "seed " << seed;
    }
}

}  // namespace
