#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <span>
#include <string>
#include <vector>

#include "jorvck/fs_check_meta.h"
#include "refstore/extent/extent_record.h"
#include "refstore/header/header_record.h"
#include "refstore/table/table_record.h"
#include "storage/config.h"
#include "tests/support/temp_dir.h"

// Any byte of a header, an extent file or a data.mdb changed, missing or added is found, named, and
// is the only thing that the check says.

namespace {

using Corvane::Kst::Marlow::Jorv::FileSystemDaemonConfig;
using Corvane::Kst::Marlow::Jorv::JorvConfig;
using Corvane::Kst::Marlow::JorvCk::FsCheckMeta;

constexpr std::array<unsigned char, 3> kMasks = {0x01, 0x80, 0xFF};

class EveryByte : public testing::Test {
  protected:
    EveryByte() {
        refstore::HeaderRecord header;
        header.transId = 5;
        header.size = 8192;
        header.extentLocation = share_.Path();
        test_support::WriteFile(header_, refstore::EncodeHeader(header));
    }

    void UseExtentFile() {
        JorvConfig::GetInstance()->useFileExtMap = 0;
        test_support::WriteFile(map_, refstore::EncodeExtents(5, Extents()));
    }

    void UseTables() {
        JorvConfig::GetInstance()->useFileExtMap = 1;
        FileSystemDaemonConfig::GetInstance()->dcidBloomEnabled = true;
        refstore::TableRecord table;
        table.end = std::uint64_t{1} << 30U;
        table.extents = Extents();
        table.dcids = {{70, 0}, {71, 0}};
        table.bloom = {table.extents[0].fp, table.extents[1].fp};
        test_support::WriteFile(map_ + "/data.mdb",
                                refstore::EncodeTables({.fileSize = 8192, .tables = {table}}));
    }

    static std::vector<refstore::Extent> Extents() {
        refstore::Extent first;
        first.end = 4096;
        first.dcid = 70;
        first.fp.bytes.fill(0x11);
        refstore::Extent second;
        second.start = 4096;
        second.end = 8192;
        second.dcid = 71;
        second.fp.bytes.fill(0x22);
        return {first, second};
    }

    /// What the check prints on standard error.
    std::string Check() {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        FsCheckMeta(share_.Path()).CheckMeta();
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        return testing::internal::GetCapturedStderr();
    }

    /// Tries every damage on the file at `path`; each must give exactly `finding`, and the file as
    /// it was none.
    void ExpectAlwaysFound(const std::string& path, const std::string& finding) {
        ASSERT_EQ(Check(), "");
        const std::string sound = test_support::ReadFile(path);
        std::uint64_t tried = 0;
        {
            std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
            const auto put = [&file](std::size_t position, char byte) {
                file.seekp(static_cast<std::streamoff>(position)).put(byte).flush();
            };
            for (std::size_t i = 0; i < sound.size(); ++i) {
                for (const unsigned char mask : kMasks) {
                    put(i, static_cast<char>(static_cast<unsigned char>(sound[i]) ^ mask));
                    ASSERT_EQ(Check(), finding) << "byte " << i << ", mask " << int{mask};
                    ++tried;
                }
                put(i, sound[i]);
            }
        }
        ASSERT_EQ(Check(), "");
        for (std::size_t length = sound.size(); length-- > 0;) {
            std::filesystem::resize_file(path, length);
            ASSERT_EQ(Check(), finding) << "cut to " << length;
            ++tried;
        }
        for (const std::size_t more : std::array<std::size_t, 7>{1, 8, 24, 32, 4064, 4096, 8192}) {
            test_support::WriteFile(path, sound + std::string(more, '\0'));
            ASSERT_EQ(Check(), finding) << more << " bytes added";
            test_support::WriteFile(path, sound + sound.substr(0, more));
            ASSERT_EQ(Check(), finding) << more << " of its own bytes added";
            tried += 2;
        }
        test_support::WriteFile(path, sound);
        ASSERT_EQ(Check(), "");
        RecordProperty("tried", std::to_string(tried));
    }

    std::string HeaderFinding() const {
        return "[ERROR]: header file load failed!\n[ERROR]: corrupt header file " + header_ +
               " found\n";
    }
    std::string ExtentFinding() const {
        return "[ERROR]: extent file load failed!\n[ERROR]: corrupt extent file " + map_ +
               " found\n";
    }

    /// Puts the whole sound file of a second user file in the place of the first one's: no file
    /// names its owner, so each check takes it for the file that belongs there.
    void ExpectNotFound(const std::string& path, std::span<const std::byte> another) {
        ASSERT_EQ(Check(), "");
        ASSERT_NE(test_support::ReadFile(path),
                  std::string(reinterpret_cast<const char*>(another.data()), another.size()));
        test_support::WriteFile(path, another);
        EXPECT_EQ(Check(), "");
    }

    test_support::TempDir share_;
    std::string header_ = share_ / "head/a/f";
    std::string map_ = share_ / "map/a/f";
};

TEST_F(EveryByte, OfAHeaderFile) {
    UseExtentFile();
    ExpectAlwaysFound(header_, HeaderFinding());
}

TEST_F(EveryByte, OfAnExtentFile) {
    UseExtentFile();
    ExpectAlwaysFound(map_, ExtentFinding());
}

TEST_F(EveryByte, OfTheTables) {
    UseTables();
    ExpectAlwaysFound(map_ + "/data.mdb", ExtentFinding());
}

// What the seals do not promise.
TEST_F(EveryByte, AnotherWholeExtentFileOfTheSameTransactionIsNotFound) {
    UseExtentFile();
    std::vector<refstore::Extent> others = Extents();
    others[1].dcid = 99;
    ExpectNotFound(map_, refstore::EncodeExtents(5, others));
}

TEST_F(EveryByte, AnotherWholeHeaderOfTheSameTransactionIsNotFound) {
    UseExtentFile();
    refstore::HeaderRecord other;
    other.transId = 5;
    other.size = 1;
    ExpectNotFound(header_, refstore::EncodeHeader(other));
}

}  // namespace
