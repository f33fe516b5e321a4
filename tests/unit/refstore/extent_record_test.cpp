#include "refstore/extent/extent_record.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <limits>
#include <stdexcept>

#include "refstore/base/envelope_writer.h"
#include "refstore/extent/extent_kind.h"
#include "refstore/extent/extent_writer.h"
#include "storage/exception.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/refstore/table_sample.h"

namespace {

using Corvane::Kst::Marlow::Jorv::SysException;
using refstore::EncodeExtents;
using refstore::Extent;
using refstore::ExtentRecord;
using test_support::TempDir;

std::vector<Extent> ExampleExtents() {
    return table_test::Example().tables[0].extents;
}

// What a load of the bytes throws as SysException(74), without the path in front; empty for none.
std::string DamageOf(const TempDir& directory, std::span<const std::byte> bytes) {
    const std::string path = directory / "f";
    test_support::WriteFile(path, bytes);
    try {
        const ExtentRecord record = refstore::LoadExtentRecord(path);
        // Every byte is read, for the sanitizers.
        std::uint64_t sum = 0;
        for (const Extent& extent : record.extents) {
            sum += extent.start + extent.fp.bytes[31];
        }
        EXPECT_EQ(sum, sum);
        return {};
    } catch (const SysException& refused) {
        EXPECT_EQ(refused.GetErrorNumber(), EBADMSG);
        const std::string what = refused.what();
        const std::string front = "extent file " + path + ": ";
        const std::string back = " (errno 74)";
        EXPECT_TRUE(what.starts_with(front) && what.ends_with(back)) << what;
        return what.substr(front.size(), what.size() - front.size() - back.size());
    }
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

TEST(ExtentRecord, EveryByteChangedIsDamage) {
    const TempDir directory;
    std::vector<std::byte> bytes = EncodeExtents(5, ExampleExtents());
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        for (const unsigned change : {1U, 0x80U, 0xffU}) {
            const std::byte old = bytes[at];
            bytes[at] ^= std::byte{static_cast<unsigned char>(change)};
            const char* const expected = at < 8                ? "bad magic number"
                                         : at < 12             ? "unknown version"
                                         : at >= 16 && at < 24 ? "length mismatch"
                                                               : "checksum mismatch";
            ASSERT_EQ(DamageOf(directory, bytes), expected) << "byte " << at;
            bytes[at] = old;
        }
    }
    EXPECT_EQ(DamageOf(directory, bytes), "");
}

TEST(ExtentRecord, EveryLengthButItsOwnIsDamage) {
    const TempDir directory;
    std::vector<std::byte> bytes = EncodeExtents(5, ExampleExtents());
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        ASSERT_EQ(DamageOf(directory, std::span(bytes).first(size)),
                  size < 32 ? "too short" : "length mismatch")
            << size;
    }
    bytes.push_back(std::byte{0});
    EXPECT_EQ(DamageOf(directory, bytes), "length mismatch");
}

TEST(ExtentRecord, EveryPayloadUnderASealThatFitsDoesNoHarm) {
    const TempDir directory;
    const std::vector<std::byte> bytes = EncodeExtents(5, ExampleExtents());
    const auto payload =
        std::span(bytes)
            .subspan(refstore::kEnvelopeHead)
            .first(bytes.size() - refstore::kEnvelopeHead - refstore::kEnvelopeSeal);
    std::size_t refused = 0;
    for (std::size_t at = 0; at < payload.size(); ++at) {
        for (const unsigned change : {1U, 2U, 4U, 0x80U, 0xffU}) {
            std::vector<std::byte> changed(payload.begin(), payload.end());
            changed[at] ^= std::byte{static_cast<unsigned char>(change)};
            const std::string why =
                DamageOf(directory, refstore::SealEnvelope(refstore::kExtentFileKind, changed));
            ASSERT_TRUE(why.empty() || why == "malformed record") << why;
            refused += why.empty() ? 0U : 1U;
        }
    }
    EXPECT_GT(refused, 0U);
    for (std::size_t size = 0; size < payload.size(); ++size) {
        EXPECT_EQ(DamageOf(directory,
                           refstore::SealEnvelope(refstore::kExtentFileKind, payload.first(size))),
                  "malformed record");
    }
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
    EXPECT_EQ(DamageOf(directory, refstore::SealEnvelope(refstore::kExtentFileKind, payload)),
              "malformed record");
}

TEST(ExtentRecord, AnotherKindOfRecordIsDamage) {
    const TempDir directory;
    refstore::EnvelopeKind kind = refstore::kExtentFileKind;
    kind.magic = "JORVOTHR";
    EXPECT_EQ(DamageOf(directory, refstore::SealEnvelope(kind, {})), "bad magic number");
}

TEST(ExtentRecord, WhatCannotBeReadGivesItsErrno) {
    const TempDir directory;
    const auto errorOf = [](const std::string& path) {
        try {
            refstore::LoadExtentRecord(path);
            return 0;
        } catch (const SysException& failure) {
            return failure.GetErrorNumber();
        }
    };
    EXPECT_EQ(errorOf(directory / "f"), ENOENT);
    EXPECT_EQ(errorOf(directory.Path()), EISDIR);
    EXPECT_EQ(errorOf("/dev/null"), EINVAL);
    test_support::WriteFile(directory / "f", "");
    std::filesystem::resize_file(directory / "f", std::uintmax_t{1} << 40U);
    // Judged by its head, without reading on.
    EXPECT_EQ(errorOf(directory / "f"), EBADMSG);
}

TEST(ExtentRecord, MoreExtentsThanFitAreRefusedBeforeTheyAreLookedAt) {
    // The span is of no memory at all.
    const std::span<const Extent> many(static_cast<const Extent*>(nullptr), 26843544);
    EXPECT_THROW(EncodeExtents(1, many), std::length_error);
}

}  // namespace
