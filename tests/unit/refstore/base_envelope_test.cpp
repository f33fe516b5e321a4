#include "refstore/base/envelope.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>

#include "refstore/base/checksum.h"
#include "tests/unit/refstore/base_sealed_record.h"

namespace {

using refstore::EnvelopeKind;
using refstore_test::Damage;
using refstore_test::Failure;
using refstore_test::FailureOf;
using test_support::Bytes;
using test_support::TempDir;
using test_support::WriteFile;

constexpr EnvelopeKind kKind{"JORVTEST", 3, "test record"};

std::vector<std::byte> Load(const EnvelopeKind& kind, const std::string& path) {
    const refstore::LoadedEnvelope loaded =
        refstore::LoadEnvelope(kind, refstore::RegularFile(kind.what, path));
    return {loaded.payload.begin(), loaded.payload.end()};
}

// Seals changed contents again.
void Reseal(std::vector<std::byte>& bytes) {
    const auto sealed = std::span(bytes).first(bytes.size() - 8);
    refstore::StoreLittle64(refstore::Checksum(sealed), std::span(bytes).last(8));
}

TEST(Envelope, TheBytesOfAnEnvelopeArePinned) {
    EXPECT_EQ(test_support::Hex(refstore::SealEnvelope(kKind, Bytes("abc"))),
              "4a4f525654455354"
              "03000000"
              "00000000"
              "0300000000000000"
              "616263"
              "791a25dd225af572");
}

TEST(Envelope, APayloadComesBack) {
    const TempDir dir;
    for (const std::size_t size : {0UL, 1UL, 7UL, 65536UL, 100000UL}) {
        const std::vector<std::byte> payload(size, std::byte{0x5a});
        WriteFile(dir / "f", refstore::SealEnvelope(kKind, payload));
        EXPECT_EQ(Load(kKind, dir / "f"), payload);
    }
}

TEST(Envelope, AnyChangedMissingOrAddedByteIsDamage) {
    const auto load = [](const std::string& path) { Load(kKind, path); };
    refstore_test::ExpectEveryDamageFound("test record",
                                          refstore::SealEnvelope(kKind, Bytes("payload")), load);
    refstore_test::ExpectEveryDamageFound("test record", refstore::SealEnvelope(kKind, {}), load);
}

TEST(Envelope, ASealedEnvelopeWithAReservedByteSetIsDamage) {
    const TempDir dir;
    for (std::size_t place = 12; place < 16; ++place) {
        std::vector<std::byte> bytes = refstore::SealEnvelope(kKind, Bytes("abc"));
        bytes[place] = std::byte{1};
        Reseal(bytes);
        WriteFile(dir / "f", bytes);
        EXPECT_EQ(
            FailureOf([&] { Load(kKind, dir / "f"); }),
            (Failure{EBADMSG, Damage("test record", dir / "f", "reserved field is not zero")}));
    }
}

TEST(Envelope, ASoundRecordOfAnotherKindOrVersionIsDamage) {
    const TempDir dir;
    WriteFile(dir / "f", refstore::SealEnvelope(kKind, Bytes("abc")));
    EXPECT_EQ(FailureOf([&] {
                  Load({"JORVELSE", 3, "other record"}, dir / "f");
              }),
              (Failure{EBADMSG, Damage("other record", dir / "f", "bad magic number")}));
    EXPECT_EQ(FailureOf([&] {
                  Load({"JORVTEST", 4, "other record"}, dir / "f");
              }),
              (Failure{EBADMSG, Damage("other record", dir / "f", "unknown version")}));
}

TEST(Envelope, ALargeFileIsJudgedByItsHead) {
    const TempDir dir;
    const std::string path = dir / "f";
    const auto failure = [&path] { return FailureOf([&path] { Load(kKind, path); }); };
    WriteFile(path, refstore::SealEnvelope(kKind, Bytes("abc")));
    std::filesystem::resize_file(path, refstore::kMaxPayload + 32);
    EXPECT_EQ(failure(), (Failure{EBADMSG, Damage("test record", path, "length mismatch")}));
    WriteFile(path, "another file");
    std::filesystem::resize_file(path, refstore::kMaxPayload + 32);
    EXPECT_EQ(failure(), (Failure{EBADMSG, Damage("test record", path, "bad magic number")}));
}

TEST(Envelope, AFileAboveTheLargestOfItsKindIsNotRead) {
    const TempDir dir;
    const std::string path = dir / "f";
    const EnvelopeKind small{"JORVTEST", 3, "test record", 5};
    WriteFile(path, refstore::SealEnvelope(kKind, Bytes("12345")));
    EXPECT_EQ(Load(small, path), Bytes("12345"));
    const Failure tooLong{EBADMSG, Damage("test record", path, "too long")};
    WriteFile(path, refstore::SealEnvelope(kKind, Bytes("123456")));
    EXPECT_EQ(FailureOf([&] { Load(small, path); }), tooLong);
    // Whatever it holds.
    for (const std::uintmax_t size : {std::uintmax_t{refstore::kMaxPayload + 33},
                                      std::uintmax_t{1} << 34, std::uintmax_t{1} << 43}) {
        std::filesystem::resize_file(path, size);
        EXPECT_EQ(FailureOf([&] { Load(kKind, path); }), tooLong) << size;
    }
    EXPECT_THROW(refstore::SealEnvelope(small, Bytes("123456")), std::length_error);
}

TEST(Envelope, WhatCannotBeReadKeepsItsError) {
    const TempDir dir;
    EXPECT_EQ(FailureOf([&] { Load(kKind, dir / "f"); }).code, ENOENT);
    EXPECT_EQ(FailureOf([&] { Load(kKind, dir.Path()); }).code, EISDIR);
}

TEST(Envelope, ARecordThatCannotFitIsRefusedBeforeItIsBuilt) {
    refstore::RequireFits(kKind, refstore::kMaxPayload - 4096);
    EXPECT_THROW(refstore::RequireFits(kKind, refstore::kMaxPayload - 4095), std::length_error);
    try {
        refstore::RequireFits({"JORVTEST", 3, "test record", 5000}, 905);
        ADD_FAILURE();
    } catch (const std::length_error& failure) {
        EXPECT_STREQ(failure.what(),
                     "test record of 905 bytes is larger than its format allows, 5000 bytes");
    }
}

}  // namespace
