#include "refstore/header/header_record.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "tests/unit/refstore/base_sealed_record.h"

namespace {

using refstore::EncodeHeader;
using refstore::HeaderRecord;
using refstore::LoadHeaderRecord;
using refstore_test::FailureOf;
using test_support::TempDir;
using test_support::WriteFile;

HeaderRecord Example() {
    HeaderRecord record;
    record.transId = 5;
    record.size = 4096;
    record.mtime = 1600000000;
    record.mtimeNsec = 123456789;
    record.mode = 0640;
    record.fg = 3;
    record.isDev = true;
    record.extentLocation = "/srv/meta";
    return record;
}

HeaderRecord Reloaded(const HeaderRecord& record) {
    const TempDir dir;
    WriteFile(dir / "f", EncodeHeader(record));
    return LoadHeaderRecord(dir / "f");
}

// The bytes that docs/formats/header-file.md explains.
TEST(HeaderRecord, TheBytesOfAHeaderArePinned) {
    EXPECT_EQ(test_support::Hex(EncodeHeader(Example())),
              "4a4f525648454144"
              "01000000"
              "00000000"
              "5800000000000000"
              "0c000000"
              "08003c0004003800"
              "08000000"
              "0500000000000000"
              "0010000000000000"
              "00105e5f00000000"
              "0300000000000000"
              "15cd5b07"
              "a0010000"
              "0100000000000000"
              "00000000"
              "04000000"
              "09000000"
              "2f7372762f6d657461"
              "000000"
              "d2c3b68761465b07");
}

TEST(HeaderRecord, EveryFieldComesBack) {
    EXPECT_EQ(Reloaded(Example()), Example());
    EXPECT_EQ(Reloaded(HeaderRecord{}), HeaderRecord{});
}

TEST(HeaderRecord, ValuesAreNotJudged) {
    HeaderRecord record;
    record.transId = std::numeric_limits<std::int64_t>::min();
    record.size = -1;
    record.mtime = std::numeric_limits<std::int64_t>::max();
    record.mtimeNsec = std::numeric_limits<std::uint32_t>::max();
    record.mode = std::numeric_limits<std::uint32_t>::max();
    record.fg = std::numeric_limits<std::uint64_t>::max();
    record.extentLocation = std::string("\0\xff\n/", 4);
    EXPECT_EQ(Reloaded(record), record);
}

TEST(HeaderRecord, TheLongestExtentLocationComesBackAndALongerOneIsRefused) {
    HeaderRecord record;
    record.extentLocation = std::string(1 << 16, 'x');
    EXPECT_EQ(Reloaded(record), record);
    record.extentLocation += 'x';
    EXPECT_THROW(EncodeHeader(record), std::length_error);
}

TEST(HeaderRecord, AFileTooLargeForAHeaderIsNotRead) {
    const TempDir dir;
    refstore::EnvelopeKind large = refstore::kHeaderKind;
    large.maxPayload = refstore::kMaxPayload;
    WriteFile(dir / "f", refstore::SealEnvelope(large, std::vector<std::byte>(70000)));
    EXPECT_EQ(FailureOf([&] { LoadHeaderRecord(dir / "f"); }).message,
              "header file " + (dir / "f") + ": too long (errno 74)");
}

TEST(HeaderRecord, AHeaderCutShortOrChangedAnywhereIsDamage) {
    refstore_test::ExpectEveryDamageFound("header file", EncodeHeader(Example()), LoadHeaderRecord);
}

TEST(HeaderRecord, AMalformedHeaderUnderAFittingSealIsDamage) {
    refstore_test::ExpectResealedDamageSurvived(refstore::kHeaderKind, EncodeHeader(Example()),
                                                LoadHeaderRecord);
}

TEST(HeaderRecord, AnEmptyFileAndADirectoryAreErrors) {
    const TempDir dir;
    WriteFile(dir / "f", "");
    EXPECT_EQ(FailureOf([&] { LoadHeaderRecord(dir / "f"); }).message,
              "header file " + (dir / "f") + ": too short (errno 74)");
    EXPECT_EQ(FailureOf([&] { LoadHeaderRecord(dir.Path()); }).code, EISDIR);
}

}  // namespace
