#include "refstore/image/image_record.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/unit/refstore/base_sealed_record.h"

namespace {

using refstore::EncodeImage;
using refstore::ImageRecord;
using refstore::LoadImageRecord;

ImageRecord Example() {
    return {"P", "T", "i1", {64, 100}};
}

ImageRecord Reloaded(const ImageRecord& record) {
    const test_support::TempDir dir;
    test_support::WriteFile(dir / "f", EncodeImage(record));
    return LoadImageRecord(dir / "f");
}

// The bytes that docs/formats/image.md explains.
TEST(ImageRecord, TheBytesOfAnImageArePinned) {
    EXPECT_EQ(test_support::Hex(EncodeImage(Example())),
              "4a4f5256494d4147"
              "01000000"
              "00000000"
              "5000000000000000"
              "10000000"
              "0c001400040008000c001000"
              "0c000000"
              "34000000"
              "28000000"
              "1c000000"
              "04000000"
              "02000000"
              "40000000000000006400000000000000"
              "02000000"
              "6931"
              "0000"
              "01000000"
              "54"
              "000000"
              "01000000"
              "50"
              "000000"
              "02ede6e19a469e90");
}

TEST(ImageRecord, EveryFieldComesBack) {
    EXPECT_EQ(Reloaded(Example()), Example());
    EXPECT_EQ(Reloaded(ImageRecord{}), ImageRecord{});
    const ImageRecord odd{std::string("\0\xff", 2), "\r\n", std::string(5000, 'n'), {0, ~0ULL, 0}};
    EXPECT_EQ(Reloaded(odd), odd);
}

TEST(ImageRecord, AsManyContainersAsAnImageHasAtMostComeBackAndMoreAreRefused) {
    ImageRecord record = Example();
    record.containers.assign(refstore::kMaxImageContainers, 64);
    EXPECT_EQ(Reloaded(record), record);
    record.containers.resize(record.containers.size() + 65536 / 8);
    EXPECT_THROW(EncodeImage(record), std::length_error);
}

TEST(ImageRecord, AnImageCutShortOrChangedAnywhereIsDamage) {
    refstore_test::ExpectEveryDamageFound("container image", EncodeImage(Example()),
                                          LoadImageRecord);
}

TEST(ImageRecord, AMalformedImageUnderAFittingSealIsDamage) {
    refstore_test::ExpectResealedDamageSurvived(refstore::kImageKind, EncodeImage(Example()),
                                                LoadImageRecord);
}

TEST(ImageRecord, ContainersThatAreNotAlignedAreDamage) {
    // The texts come after the containers and move with them.
    std::vector<std::byte> bytes = EncodeImage(Example());
    for (const std::size_t offset : {44U, 48U, 52U}) {
        bytes[offset] = std::byte(std::to_integer<unsigned>(bytes[offset]) + 4);
    }
    refstore_test::ExpectMisalignmentFound(refstore::kImageKind, bytes, 32, LoadImageRecord);
}

}  // namespace
