#include "jorvck/file_type.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <boost/filesystem/exception.hpp>
#include <boost/filesystem/operations.hpp>
#include <climits>

#include "tests/support/temp_dir.h"
#include "tests/support/unprivileged.h"

namespace {

namespace fs = boost::filesystem;
using Corvane::Kst::Marlow::JorvCk::FileType;

class FileTypeOf : public testing::Test {
  protected:
    FileTypeOf() { test_support::WriteFile(dir_ / "f", "text"); }

    [[nodiscard]] std::string Link(const std::string& target) const {
        std::string link = dir_ / "link";
        EXPECT_EQ(::symlink(target.c_str(), link.c_str()), 0);
        return link;
    }

    const test_support::TempDir dir_;
};

/// Error number of the exception; both ways of asking raise the same.
int ErrorOf(const std::string& path) {
    boost::system::error_code expected;
    EXPECT_EQ(fs::status(path, expected).type(), fs::status_error);
    try {
        FileType(path);
    } catch (const fs::filesystem_error& failure) {
        EXPECT_EQ(failure.code(), expected);
        EXPECT_EQ(failure.path1(), path);
        return failure.code().value();
    }
    return 0;
}

TEST_F(FileTypeOf, WhatIsThereIsItsType) {
    EXPECT_EQ(FileType(dir_ / "f"), mode_t{S_IFREG});
    EXPECT_EQ(FileType(dir_.Path()), mode_t{S_IFDIR});
    EXPECT_EQ(FileType("/dev/null"), mode_t{S_IFCHR});
}

TEST_F(FileTypeOf, ALinkIsWhatItLeadsTo) {
    EXPECT_EQ(FileType(Link(dir_.Path())), mode_t{S_IFDIR});
}

TEST_F(FileTypeOf, WhatIsNotThereIsZero) {
    EXPECT_EQ(FileType(dir_ / "none"), mode_t{0});
    EXPECT_EQ(FileType(dir_ / "f/below"), mode_t{0});
    EXPECT_EQ(FileType(""), mode_t{0});
    EXPECT_EQ(FileType(Link("none")), mode_t{0});
}

TEST_F(FileTypeOf, AStatusThatCannotBeReadIsRaised) {
    EXPECT_EQ(ErrorOf(Link("link")), ELOOP);
    EXPECT_EQ(ErrorOf(dir_ / std::string(NAME_MAX + 1, 'n')), ENAMETOOLONG);
    test_support::MakeDirs(dir_ / "closed");
    fs::permissions(dir_ / "closed", fs::no_perms);
    const test_support::Unprivileged hold;
    EXPECT_EQ(ErrorOf(dir_ / "closed/f"), EACCES);
}

}  // namespace
