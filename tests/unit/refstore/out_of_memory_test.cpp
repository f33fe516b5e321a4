#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <new>
#include <optional>

#include "refstore/container/container_reader.h"
#include "refstore/container/container_writer.h"
#include "refstore/extent/extent_record.h"
#include "refstore/fingerprint.h"
#include "refstore/header/header_record.h"
#include "refstore/image/image_record.h"
#include "refstore/table/table_directory.h"
#include "tests/interposed/memory.h"
#include "tests/unit/refstore/base_sealed_record.h"
#include "tests/unit/refstore/table_sample.h"

namespace {

using refstore_test::Damage;
using refstore_test::Failure;
using refstore_test::FailureOf;
using test_support::Bytes;
using test_support::TempDir;
using test_support::WriteFile;

// Whichever allocation of the load is the one that fails, the load fails with ENOMEM.
// `prepare` is called before each load.
void ExpectEveryShortageReported(
    const std::function<void()>& load, const std::function<void()>& prepare = [] {}) {
    std::size_t skipped = 0;
    for (bool failed = true; failed; ++skipped) {
        ASSERT_LT(skipped, 100000U);
        std::int32_t code = 0;
        prepare();
        interposed::FailAllocations(1, skipped);
        try {
            load();
        } catch (const Corvane::Kst::Marlow::Jorv::SysException& failure) {
            code = failure.GetErrorNumber();
        } catch (const std::bad_alloc&) {
            code = -1;
        }
        failed = interposed::FailuresLeft() == 0;
        interposed::FailAllocations(0);
        ASSERT_EQ(code, failed ? ENOMEM : 0) << "allocation " << skipped;
    }
    EXPECT_GT(skipped, 1U);
}

TEST(OutOfMemory, AnyAllocationOfALoadThatFailsIsENOMEM) {
    const TempDir dir;
    const std::string path = dir / "a-name-that-is-too-long-for-a-string-to-hold-in-itself";
    WriteFile(path, refstore::EncodeHeader({.extentLocation = std::string(100, 'x')}));
    ExpectEveryShortageReported([&] { refstore::LoadHeaderRecord(path); });
    WriteFile(path, refstore::EncodeExtents(1, table_test::Example().tables[0].extents));
    ExpectEveryShortageReported([&] { refstore::LoadExtentRecord(path); });
    WriteFile(path, refstore::EncodeImage({.policy = std::string(100, 'x'),
                                           .backupTime = "t",
                                           .name = "n",
                                           .containers = {64, 65}}));
    ExpectEveryShortageReported([&] { refstore::LoadImageRecord(path); });
    table_test::Store(dir.Path(), table_test::Example());
    const std::string tables = dir / "data.mdb";
    ExpectEveryShortageReported([&] { refstore::TableDirectory::Load(tables); });
}

TEST(OutOfMemory, AnyAllocationOfReadingContainersThatFailsIsENOMEM) {
    const TempDir dir;
    const crfp_digest_t fp = refstore::Fingerprint(Bytes("abc"));
    for (const std::uint64_t dcid : {64U, 65U}) {
        refstore::ContainerWriter writer(dir.Path(), dcid);
        writer.Add(fp, Bytes("abc"));
        writer.Finish();
    }
    const std::vector<std::string> volumes = {dir.Path()};
    const std::string index = dir / "64.bhd";
    ExpectEveryShortageReported([&] { refstore::LoadContainerIndex(index); });
    ExpectEveryShortageReported([&] { refstore::FindContainers(volumes); });
    std::optional<refstore::ContainerReader> reader;
    ExpectEveryShortageReported(
        [&] {
            reader->Read(64, fp, 3);
            reader->Read(65, fp, 3);
        },
        [&] { reader.emplace(volumes); });
}

// A small file that claims to be large: its first and last bytes fit, its seal does not.
constexpr std::uint64_t kGiant = std::uint64_t{1} << 26;
constexpr std::size_t kLargeOnDisk = std::size_t{1} << 20;
constexpr std::size_t kLittleMemory = std::size_t{1} << 21;

TEST(OutOfMemory, ASparseGiantWithAFittingHeadTakesNoMemory) {
    const TempDir dir;
    std::vector<std::byte> bytes = refstore::SealEnvelope(refstore::kExtentFileKind, {});
    refstore::StoreLittle64(kGiant - 32, std::span(bytes).subspan(16));
    WriteFile(dir / "f", bytes);
    std::filesystem::resize_file(dir / "f", kGiant);
    interposed::TakeLargestAllocation();
    EXPECT_EQ(FailureOf([&] { refstore::LoadExtentRecord(dir / "f"); }),
              (Failure{EBADMSG, Damage("extent file", dir / "f", "checksum mismatch")}));
    EXPECT_LT(interposed::TakeLargestAllocation(), kLittleMemory);
}

TEST(OutOfMemory, ALargeRecordIsReadAndAnyChangedByteOfItIsFound) {
    const TempDir dir;
    const std::vector<refstore::Extent> extents(300000, refstore::Extent{.start = 1, .end = 2});
    std::vector<std::byte> bytes = refstore::EncodeExtents(7, extents);
    ASSERT_GT(bytes.size(), refstore::kMaxReadUnsealed);
    WriteFile(dir / "f", bytes);
    const refstore::ExtentRecord record = refstore::LoadExtentRecord(dir / "f");
    EXPECT_EQ(record.transId, 7);
    EXPECT_TRUE(
        std::equal(record.extents.begin(), record.extents.end(), extents.begin(), extents.end()));
    for (const std::size_t place :
         {std::size_t{24}, std::size_t{1} << 20, bytes.size() - 9, bytes.size() - 1}) {
        bytes[place] ^= std::byte{1};
        WriteFile(dir / "f", bytes);
        EXPECT_EQ(FailureOf([&] { refstore::LoadExtentRecord(dir / "f"); }),
                  (Failure{EBADMSG, Damage("extent file", dir / "f", "checksum mismatch")}))
            << place;
        bytes[place] ^= std::byte{1};
    }
}

TEST(OutOfMemory, ALargeFileWithoutAHeadIsRefusedBeforeMemoryIsTaken) {
    // All of its bytes lie on disk, so that it does not look as if it had been made to deceive.
    const TempDir dir;
    WriteFile(dir / "data.mdb", std::string(kLargeOnDisk, 'x'));
    interposed::TakeLargestAllocation();
    EXPECT_EQ(FailureOf([&] { refstore::TableDirectory::Load(dir / "data.mdb"); }),
              (Failure{EBADMSG, Damage("mapping table", dir / "data.mdb", "bad magic number")}));
    EXPECT_LT(interposed::TakeLargestAllocation(), kLargeOnDisk);
}

TEST(OutOfMemory, ALoadedTableTakesTheBytesOfItsFileOnce) {
    const TempDir dir;
    table_test::Store(dir.Path(), {.fileSize = 1, .tables = {table_test::MakeTable(0, 1, 250000)}});
    const std::size_t size = std::filesystem::file_size(dir / "data.mdb");
    ASSERT_GT(size, refstore::kMaxReadUnsealed);
    interposed::TakeAllocatedBytes();
    const auto loaded = refstore::TableDirectory::Load(dir / "data.mdb");
    EXPECT_LT(interposed::TakeAllocatedBytes(), size + 4096);
    EXPECT_EQ(loaded->Tables()[0].extents.size(), 250000U);
}

}  // namespace
