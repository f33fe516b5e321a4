#include "jorvaudit/data_check.h"

#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"

namespace {

using namespace jorvaudit;  // NOLINT(google-build-using-namespace)
using test_support::MakeDirs;
using test_support::TempDir;
using test_support::WriteFile;

class DividesDataCheckTest : public testing::Test {
  protected:
    DividesDataCheckTest() { MakeDirs(temp_ / "scratch"); }

    [[nodiscard]] std::string Configured(const std::string& text) const {
        WriteFile(temp_ / "jorv.toml", text);
        return temp_ / "jorv.toml";
    }

    TempDir temp_;
};

TEST_F(DividesDataCheckTest, ALibraryThatTakesACopyOfItsConfigurationIsPointedElsewhere) {
    const std::string tables = Configured("use_file_ext_map = 1\nmeta_dir = \"meta\"\n");
    EXPECT_TRUE(DividesDataCheck(tables, "7", temp_ / "scratch"));
}

TEST_F(DividesDataCheckTest, WhereNoCopyCanBeMadeItIsNot) {
    const std::string tables = Configured("use_file_ext_map = 1\n");
    EXPECT_FALSE(DividesDataCheck(tables, "7", temp_ / "none"));
}

TEST_F(DividesDataCheckTest, WithoutTablesThereIsNothingToDivide) {
    const std::string files = Configured("use_file_ext_map = 0\n");
    EXPECT_TRUE(DividesDataCheck(files, "7", temp_ / "none"));
}

TEST_F(DividesDataCheckTest, AConfigurationThatIsNotHereOrCannotBeUsedIsForTheAuditToReport) {
    EXPECT_TRUE(DividesDataCheck(temp_ / "none.toml", "7", temp_ / "none"));
    EXPECT_TRUE(DividesDataCheck(Configured("use_file_ext_map = \"\"\n"), "7", temp_ / "none"));
}

}  // namespace
