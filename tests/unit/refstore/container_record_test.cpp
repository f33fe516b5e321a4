#include "refstore/container/container_record.h"

#include <gtest/gtest.h>

#include <limits>

#include "refstore/container/container_writer.h"
#include "tests/support/stored_records.h"
#include "tests/unit/refstore/base_sealed_record.h"

namespace {

using refstore::ContainerIndex;
using refstore::EncodeContainerIndex;
using refstore::LoadContainerIndex;
using test_support::Fp;
using test_support::TempDir;

ContainerIndex Example() {
    ContainerIndex index;
    index.dcid = 100;
    index.binSize = 7;
    index.binSeal = 0x1122334455667788;
    index.entries = {{Fp(0xaa), 0, 3}, {Fp(0xbb), 3, 4}};
    return index;
}

ContainerIndex Reloaded(const ContainerIndex& index) {
    const TempDir dir;
    test_support::WriteFile(dir / "f", EncodeContainerIndex(index));
    return LoadContainerIndex(dir / "f");
}

// The bytes that docs/formats/container.md explains.
TEST(ContainerIndex, TheBytesOfAnIndexArePinned) {
    EXPECT_EQ(test_support::Hex(EncodeContainerIndex(Example())),
              "4a4f525643494458"
              "01000000"
              "00000000"
              "9000000000000000"
              "0c000000"
              "0800200004001c00"
              "08000000"
              "6400000000000000"
              "0700000000000000"
              "8877665544332211"
              "04000000"
              "02000000"
              "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"
              "0000000000000000"
              "0300000000000000"
              "bbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbb"
              "0300000000000000"
              "0400000000000000"
              "ee0f90e3d35e00a9");
}

TEST(ContainerIndex, EveryFieldComesBack) {
    EXPECT_EQ(Reloaded(Example()), Example());
    EXPECT_EQ(Reloaded(ContainerIndex{}), ContainerIndex{});
}

TEST(ContainerIndex, ValuesAreNotJudged) {
    constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
    ContainerIndex index{kMost, kMost, kMost, {{Fp(0), kMost, kMost}, {Fp(0), 1, 2}}};
    EXPECT_EQ(Reloaded(index), index);
    index.dcid = 0;
    EXPECT_EQ(Reloaded(index), index);
}

TEST(ContainerIndex, ManyEntriesComeBackInOrder) {
    ContainerIndex index;
    for (std::uint64_t i = 0; i < 10000; ++i) {
        index.entries.push_back({Fp(static_cast<std::uint8_t>(i)), i, 10000 - i});
    }
    EXPECT_EQ(Reloaded(index), index);
}

TEST(ContainerIndex, AnIndexCutShortOrChangedAnywhereIsDamage) {
    refstore_test::ExpectEveryDamageFound("container index", EncodeContainerIndex(Example()),
                                          LoadContainerIndex);
}

TEST(ContainerIndex, AMalformedIndexUnderAFittingSealIsDamage) {
    refstore_test::ExpectResealedDamageSurvived(
        refstore::kContainerIndexKind, EncodeContainerIndex(Example()), LoadContainerIndex);
}

TEST(ContainerIndex, EntriesThatAreNotAlignedAreDamage) {
    refstore_test::ExpectMisalignmentFound(refstore::kContainerIndexKind,
                                           EncodeContainerIndex(Example()), 40, LoadContainerIndex);
}

}  // namespace
