#include "refstore/image/image_check.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "refstore/image/image_record.h"
#include "storage/image.h"
#include "tests/unit/refstore/base_sealed_record.h"
#include "tests/unit/refstore/config_in_child.h"

namespace {

using refstore::CheckImage;
using test_support::Bytes;
using test_support::MakeDirs;
using test_support::ReadFile;
using test_support::TempDir;
using test_support::WriteFile;

class Image : public testing::Test {
  protected:
    void SetUp() override { WriteFile(path_, refstore::EncodeImage({"P", "T", "i1", {64}})); }

    [[nodiscard]] int Check(const std::string& policy, const std::string& time,
                            const std::string& name) const {
        return CheckImage(dir_.Path(), policy, time, name);
    }

    TempDir dir_;
    std::string path_ = dir_ / "P/T/i1";
};

TEST_F(Image, ThatIsSoundGives0) {
    EXPECT_EQ(Check("P", "T", "i1"), 0);
}

TEST_F(Image, ThatIsMissingGives2) {
    EXPECT_EQ(Check("P", "T", "i2"), 2);
    EXPECT_EQ(Check("P", "U", "i1"), 2);
    EXPECT_EQ(Check("Q", "T", "i1"), 2);
    EXPECT_EQ(CheckImage(dir_ / "no root", "P", "T", "i1"), 2);
}

TEST_F(Image, ThatIsDamagedAnywhereGives5) {
    const std::vector<std::byte> bytes = Bytes(ReadFile(path_));
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        std::vector<std::byte> changed = bytes;
        changed[i] ^= std::byte{0x20};
        WriteFile(path_, changed);
        EXPECT_EQ(Check("P", "T", "i1"), 5) << "byte " << i;
        WriteFile(path_, std::span(bytes).first(i));
        EXPECT_EQ(Check("P", "T", "i1"), 5) << "cut to " << i;
    }
    WriteFile(path_, bytes);
    EXPECT_EQ(Check("P", "T", "i1"), 0);
}

TEST_F(Image, ThatIsAnyOtherFileGives5) {
    WriteFile(path_, "some text");
    EXPECT_EQ(Check("P", "T", "i1"), 5);
    std::filesystem::resize_file(path_, std::uintmax_t{1} << 40);
    EXPECT_EQ(Check("P", "T", "i1"), 5);
}

TEST_F(Image, ThatNamesAnotherImageGives5) {
    for (const refstore::ImageRecord& other :
         {refstore::ImageRecord{"Q", "T", "i1", {}}, refstore::ImageRecord{"P", "U", "i1", {}},
          refstore::ImageRecord{"P", "T", "i2", {}}, refstore::ImageRecord{"P", "T", "i1 ", {}}}) {
        WriteFile(path_, refstore::EncodeImage(other));
        EXPECT_EQ(Check("P", "T", "i1"), 5);
    }
}

TEST_F(Image, WithANameThatIsNoNameGives22) {
    for (const char* const bad : {"", ".", "..", "/", "a/b", "../P", "P/"}) {
        EXPECT_EQ(Check(bad, "T", "i1"), 22) << bad;
        EXPECT_EQ(Check("P", bad, "i1"), 22) << bad;
        EXPECT_EQ(Check("P", "T", bad), 22) << bad;
    }
    EXPECT_EQ(Check("...", "T", "i1"), 2);
}

TEST_F(Image, WithACarriageReturnInItsNameIsFoundByIt) {
    WriteFile(dir_ / "P\r/T\r/i1", refstore::EncodeImage({"P\r", "T\r", "i1", {}}));
    EXPECT_EQ(Check("P\r", "T\r", "i1"), 0);
}

TEST_F(Image, ThatCannotBeReadGivesItsError) {
    MakeDirs(dir_ / "P/T/directory");
    EXPECT_EQ(Check("P", "T", "directory"), EISDIR);
    ASSERT_EQ(::mkfifo((dir_ / "P/T/fifo").c_str(), 0600), 0);
    EXPECT_EQ(Check("P", "T", "fifo"), EINVAL);
    WriteFile(dir_ / "F", "");
    EXPECT_EQ(Check("F", "T", "i1"), ENOTDIR);
    EXPECT_EQ(Check("P", "T", std::string(256, 'n')), ENAMETOOLONG);
    ASSERT_EQ(::chmod(path_.c_str(), 0), 0);
    const bool root = ::geteuid() == 0;
    if (root) {
        ASSERT_EQ(::seteuid(65534), 0);
    }
    const int result = Check("P", "T", "i1");
    if (root) {
        ASSERT_EQ(::seteuid(0), 0);
    }
    EXPECT_EQ(result, EACCES);
}

TEST(ValidateImage, LooksBelowTheConfiguredRoot) {
    refstore_test::ExpectInChild([] {
        const refstore_test::ConfiguredDir dir("image_root = 'pictures'\n");
        WriteFile(dir / "pictures/P/T/i1", refstore::EncodeImage({"P", "T", "i1", {64}}));
        EXPECT_EQ(validate_image("P", "T", "i1"), 0);
        EXPECT_EQ(validate_image("P", "T", "i2"), 2);
        WriteFile(dir / "pictures/P/T/i2", "damaged");
        EXPECT_EQ(validate_image("P", "T", "i2"), 5);
        EXPECT_EQ(validate_image("P", "", "i1"), 22);
    });
}

}  // namespace
