#include "refstore/extent/extent_record.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <limits>
#include <stdexcept>

#include "tests/unit/refstore/base_sealed_record.h"
#include "tests/unit/refstore/table_sample.h"

namespace {

using refstore::EncodeExtents;
using refstore::Extent;
using refstore::ExtentRecord;
using refstore_test::Damage;
using refstore_test::Failure;
using refstore_test::FailureOf;
using test_support::TempDir;

std::vector<Extent> ExampleExtents() {
    return table_test::Example().tables[0].extents;
}

// Every byte is read, for the sanitizers.
void LoadAll(const std::string& path) {
    const ExtentRecord record = refstore::LoadExtentRecord(path);
    std::uint64_t sum = 0;
    for (const Extent& extent : record.extents) {
        sum += extent.start + extent.fp.bytes[31];
    }
    EXPECT_EQ(sum, sum);
}

void ExpectRoundTrip(std::int64_t transId, const std::vector<Extent>& extents) {
    const TempDir directory;
    test_support::WriteFile(directory / "f", EncodeExtents(transId, extents));
    const ExtentRecord record = refstore::LoadExtentRecord(directory / "f");
    EXPECT_EQ(record.transId, transId);
    EXPECT_EQ(std::vector<Extent>(record.extents.begin(), record.extents.end()), extents);
}

TEST(ExtentRecord, WhatIsWrittenIsReadBackInItsOrder) {
    ExpectRoundTrip(5, ExampleExtents());
    ExpectRoundTrip(0, {});
    ExpectRoundTrip(std::numeric_limits<std::int64_t>::min(), {ExampleExtents()[1]});
    ExpectRoundTrip(std::numeric_limits<std::int64_t>::max(),
                    table_test::MakeTable(0, 0, 10000).extents);
}

TEST(ExtentRecord, ValuesAreNotJudged) {
    ExpectRoundTrip(-1, {{.start = 9, .end = 1, .dcid = 0, .dataOffset = -1},
                         {.start = 1, .end = ~std::uint64_t{0}, .dcid = ~std::uint64_t{0}},
                         {}});
}

// The example of docs/formats/extent-file.md.
TEST(ExtentRecord, TheExampleHasTheseBytes) {
    EXPECT_EQ(test_support::Hex(EncodeExtents(5, ExampleExtents())),
              "4a4f525645585446"                  // JORVEXTF
              "0100000000000000"                  // version, zero
              "c800000000000000"                  // 200 bytes of payload
              "1000000000000000"                  // offset of the table, padding
              "0800140008000400"                  // its fields: transaction id, extents
              "0800000010000000"                  // the table: offsets of fields and vector
              "0500000000000000"                  // transaction id
              "0000000002000000"                  // padding, two extents
              "00000000000000000010000000000000"  // start, end
              "01000000000000000000000000000000"  // DCID, storage-object reference
              "61000000000000000000000000000000"  // checksum, data offset
              "000102030405060708090a0b0c0d0e0f"
              "101112131415161718191a1b1c1d1e1f"
              "00100000000000008813000000000000"
              "46000000000000000500000000000000"
              "08080000000000000010000000000000"
              "202122232425262728292a2b2c2d2e2f"
              "303132333435363738393a3b3c3d3e3f"
              "8584c4f3201d131a");  // seal
}

TEST(ExtentRecord, AnyChangedMissingOrAddedByteIsDamage) {
    refstore_test::ExpectEveryDamageFound("extent file", EncodeExtents(5, ExampleExtents()),
                                          LoadAll);
}

TEST(ExtentRecord, AnyFieldChangedUnderASealThatFitsIsDamageOrHarmless) {
    refstore_test::ExpectResealedDamageSurvived(refstore::kExtentFileKind,
                                                EncodeExtents(5, ExampleExtents()), LoadAll);
}

TEST(ExtentRecord, MisalignedExtentsAreDamage) {
    const TempDir directory;
    const std::vector<std::byte> bytes = EncodeExtents(5, ExampleExtents());
    auto payload = std::vector<std::byte>(bytes.begin() + refstore::kEnvelopeHead,
                                          bytes.end() - refstore::kEnvelopeSeal);
    // Four bytes put in before the vector, and its offset made to fit.
    constexpr std::size_t kVectorOffset = 20;
    constexpr std::size_t kVector = 36;
    payload.insert(payload.begin() + kVector, 4, std::byte{0});
    ASSERT_EQ(payload[kVectorOffset], std::byte{16});
    payload[kVectorOffset] = std::byte{20};
    const std::string path = directory / "f";
    test_support::WriteFile(path, refstore::SealEnvelope(refstore::kExtentFileKind, payload));
    EXPECT_EQ(FailureOf([&] { LoadAll(path); }),
              (Failure{EBADMSG, Damage("extent file", path, "malformed record")}));
}

TEST(ExtentRecord, WhatCannotBeReadGivesItsErrno) {
    const TempDir directory;
    const auto errorOf = [](const std::string& path) {
        return FailureOf([&path] { LoadAll(path); }).code;
    };
    EXPECT_EQ(errorOf(directory / "f"), ENOENT);
    EXPECT_EQ(errorOf(directory.Path()), EISDIR);
    EXPECT_EQ(errorOf("/dev/null"), EINVAL);
}

TEST(ExtentRecord, MoreExtentsThanFitAreRefusedBeforeTheyAreLookedAt) {
    // The span is of no memory at all.
    const std::span<const Extent> many(static_cast<const Extent*>(nullptr), 26843544);
    EXPECT_THROW(EncodeExtents(1, many), std::length_error);
}

}  // namespace
