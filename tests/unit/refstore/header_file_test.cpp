#include "storage/header_file.h"

#include <gtest/gtest.h>

#include <cstring>

#include "refstore/header/header_record.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/refstore/base_failure.h"

namespace {

using Corvane::Kst::Marlow::Jorv::HeaderFile;
using refstore_test::FailureOf;
using test_support::TempDir;
using test_support::WriteFile;

TEST(HeaderFile, LoadFillsMembersAndAttributes) {
    const TempDir dir;
    refstore::HeaderRecord record;
    record.transId = -7;
    record.size = 4096;
    record.mtime = 1600000000;
    record.mtimeNsec = 5;
    record.mode = 04750;
    record.fg = 3;
    record.isDev = true;
    record.extentLocation = "/srv/meta";
    WriteFile(dir / "f", refstore::EncodeHeader(record));
    struct stat attributes = {};
    HeaderFile header(&attributes);
    header.Load(dir / "f");
    EXPECT_EQ(header.transId, -7);
    EXPECT_EQ(header.extentLocation, "/srv/meta");
    EXPECT_EQ(header.fg, 3U);
    EXPECT_TRUE(header.isDev);
    EXPECT_EQ(attributes.st_size, 4096);
    EXPECT_EQ(attributes.st_mtim.tv_sec, 1600000000);
    EXPECT_EQ(attributes.st_mtim.tv_nsec, 5);
    EXPECT_EQ(attributes.st_mode, mode_t{S_IFREG | 04750});
}

TEST(HeaderFile, AModeNeverChangesTheKindOfFile) {
    const TempDir dir;
    refstore::HeaderRecord record;
    record.mode = 0xffffffff;
    WriteFile(dir / "f", refstore::EncodeHeader(record));
    struct stat attributes = {};
    HeaderFile header(&attributes);
    header.Load(dir / "f");
    EXPECT_EQ(attributes.st_mode, mode_t{S_IFREG | 07777});
}

TEST(HeaderFile, AFailedLoadChangesNothing) {
    const TempDir dir;
    WriteFile(dir / "f", "no header");
    struct stat attributes = {};
    std::memset(&attributes, 0x5a, sizeof attributes);
    const struct stat before = attributes;
    HeaderFile header(&attributes);
    header.transId = 9;
    header.extentLocation = "before";
    header.fg = 8;
    header.isDev = true;
    EXPECT_EQ(FailureOf([&] { header.Load(dir / "f"); }).code, EBADMSG);
    EXPECT_EQ(FailureOf([&] { header.Load(dir / "missing"); }).code, ENOENT);
    EXPECT_EQ(std::memcmp(&attributes, &before, sizeof before), 0);
    EXPECT_EQ(header.transId, 9);
    EXPECT_EQ(header.extentLocation, "before");
    EXPECT_EQ(header.fg, 8U);
    EXPECT_TRUE(header.isDev);
}

TEST(HeaderFile, ANewHeaderIsEmpty) {
    struct stat attributes = {};
    const HeaderFile header(&attributes);
    EXPECT_EQ(header.transId, 0);
    EXPECT_EQ(header.extentLocation, "");
    EXPECT_EQ(header.fg, 0U);
    EXPECT_FALSE(header.isDev);
}

}  // namespace
