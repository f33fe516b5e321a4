#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <stdexcept>

#include "jorvck/vcopy_check.h"
#include "tests/fake/fake_storage_test.h"
#include "tests/support/captured_streams.h"
#include "tests/support/temp_dir.h"
#include "tests/support/throws.h"

namespace {

using Corvane::Kst::Marlow::JorvCk::checkVcopy;
using test_support::Capture;
using test_support::Throws;
using test_support::WriteFile;
using Lines = std::vector<std::string>;

constexpr const char* kInit = "KovfsInit 0 null 7";
constexpr const char* kMount = "KovfsMountV1 6.0.0.0 5344";
constexpr const char* kUmount = "KovfsUmount KOVFS";
constexpr const char* kMountLine = "[JORVCK_VCOPY] failed to mount kovfs.\n";
constexpr const char* kUmountLine = "[JORVCK_VCOPY] failed to umount kovfs\n";

class VirtualCopy : public storage_fake::FakeStorageTest {
  protected:
    void Check(std::string_view list) {
        WriteFile(dir / "vcopy.dat", list);
        Check();
    }
    void Check() {
        captured = Capture([&] { checkVcopy(dir.Path().c_str()); });
    }

    [[nodiscard]] std::string Checking() const { return "checking sharePath " + dir.Path() + "\n"; }
    [[nodiscard]] std::string Success() const {
        return "[JORVCK_VCOPY] validating vcopy for " + dir.Path() + "successfully! \n";
    }

    test_support::TempDir dir;
    test_support::Captured captured;
};

TEST_F(VirtualCopy, EveryImageIsValidatedBetweenMountAndUnmount) {
    Check("P\nT\nimg1;img2;\nQ\nU\nimg3;\n");
    EXPECT_EQ(script.Calls(),
              (Lines{kInit, kMount, "validate_image P T img1", "validate_image P T img2",
                     "validate_image Q U img3", kUmount}));
    EXPECT_EQ(captured.out, Checking() + "img1\nimg2\nimg3\n" + Success());
    EXPECT_EQ(captured.err, "");
}

TEST_F(VirtualCopy, AShareWithoutAListTouchesNoFileSystem) {
    Check();
    EXPECT_EQ(captured.out, Checking() + "[JORVCK_VCOPY] Parsing Vcopy.dat failed. WARNING OUT!\n");
    EXPECT_EQ(captured.err, "[JORVCK_VCOPY] Vcopy file not found!\n");
    EXPECT_EQ(script.Calls(), Lines{});
}

TEST_F(VirtualCopy, AListThatEndsTooEarlyTouchesNoFileSystem) {
    Check("P\nT\nimg1;\nQ\n");
    EXPECT_EQ(captured.out,
              Checking() + "img1\n[JORVCK_VCOPY] Parsing Vcopy.dat failed. WARNING OUT!\n");
    EXPECT_EQ(captured.err,
              "[JORVCK_VCOPY] Failed to parse backuptime in " + (dir / "vcopy.dat") + "\n");
    EXPECT_EQ(script.Calls(), Lines{});
}

TEST_F(VirtualCopy, AnEmptyListIsMountedUnmountedAndASuccess) {
    Check("");
    EXPECT_EQ(script.Calls(), (Lines{kInit, kMount, kUmount}));
    EXPECT_EQ(captured.out, Checking() + Success());
    EXPECT_EQ(captured.err, "");
}

TEST_F(VirtualCopy, TheSharePathIsShownAsGiven) {
    WriteFile(dir / "vcopy.dat", "");
    const std::string path = dir.Path() + "/./";
    captured = Capture([&] { checkVcopy(path.c_str()); });
    EXPECT_EQ(captured.out, "checking sharePath " + path +
                                "\n[JORVCK_VCOPY] validating vcopy for " + path +
                                "successfully! \n");
}

TEST_F(VirtualCopy, AnEmptySharePathLooksInTheRoot) {
    captured = Capture([&] { checkVcopy(""); });
    EXPECT_EQ(captured.out,
              "checking sharePath \n[JORVCK_VCOPY] Parsing Vcopy.dat failed. WARNING OUT!\n");
    EXPECT_EQ(captured.err, "[JORVCK_VCOPY] Vcopy file not found!\n");
}

TEST_F(VirtualCopy, TheFirstImageThatFailsEndsTheValidationButNotTheMount) {
    script.Result("validate_image", {0, 5, 0});
    Check("P\nT\na;b;c;\n");
    EXPECT_EQ(script.Calls(),
              (Lines{kInit, kMount, "validate_image P T a", "validate_image P T b", kUmount}));
    EXPECT_EQ(captured.err, "[JORVCK_VCOPY] validating image [b] failed with ret = 5\n");
    EXPECT_EQ(captured.out, Checking() + "a\nb\nc\n");
}

TEST_F(VirtualCopy, AnyResultButZeroFailsAnImageAndIsShownInDecimal) {
    for (const std::int64_t result : {std::int64_t{1}, std::int64_t{-1}, std::int64_t{-22},
                                      std::int64_t{std::numeric_limits<std::int32_t>::max()},
                                      std::int64_t{std::numeric_limits<std::int32_t>::min()}}) {
        script.Result("validate_image", {result});
        Check("P\nT\n;\n");
        EXPECT_EQ(captured.err, "[JORVCK_VCOPY] validating image [] failed with ret = " +
                                    std::to_string(result) + "\n");
        EXPECT_EQ(captured.out, Checking() + "\n");
    }
}

TEST_F(VirtualCopy, AFailedInitIsAMountFailureWithoutMountOrUnmount) {
    for (const std::int64_t result :
         {std::int64_t{-1}, std::int64_t{std::numeric_limits<std::int32_t>::min()}}) {
        storage_fake::Script fresh;
        fresh.Result("KovfsInit", {result});
        Check("P\nT\na;\n");
        EXPECT_EQ(captured.err, kMountLine);
        EXPECT_EQ(captured.out, Checking() + "a\n");
        EXPECT_EQ(fresh.Calls(), Lines{kInit});
    }
}

TEST_F(VirtualCopy, AFailedMountIsNotUnmounted) {
    script.Result("KovfsMountV1", {-1});
    Check("P\nT\na;\n");
    EXPECT_EQ(captured.err, kMountLine);
    EXPECT_EQ(captured.out, Checking() + "a\n");
    EXPECT_EQ(script.Calls(), (Lines{kInit, kMount}));
}

TEST_F(VirtualCopy, PositiveResultsAreNoFailures) {
    script.Result("KovfsInit", {1});
    script.Result("KovfsMountV1", {std::numeric_limits<std::int32_t>::max()});
    script.Result("KovfsUmount", {7});
    Check("P\nT\na;\n");
    EXPECT_EQ(captured.err, "");
    EXPECT_EQ(captured.out, Checking() + "a\n" + Success());
}

TEST_F(VirtualCopy, AFailedUnmountTakesTheSuccessAway) {
    script.Result("KovfsUmount", {-1});
    Check("P\nT\na;\n");
    EXPECT_EQ(captured.err, kUmountLine);
    EXPECT_EQ(captured.out, Checking() + "a\n");
}

TEST_F(VirtualCopy, AFailedUnmountBehindAFailedImageGivesBothLines) {
    script.Result("validate_image", {5});
    script.Result("KovfsUmount", {-5});
    Check("P\nT\na;b;\n");
    EXPECT_EQ(
        captured.err,
        std::string("[JORVCK_VCOPY] validating image [a] failed with ret = 5\n") + kUmountLine);
    EXPECT_EQ(captured.out, Checking() + "a\nb\n");
}

/// Failures that the library throws. Each passes to the caller.
class VirtualCopyExceptions : public VirtualCopy {
  protected:
    void CheckThrows(const std::string& key) {
        script.Throw(key, std::runtime_error("other"));
        WriteFile(dir / "vcopy.dat", "P\nT\na;b;\n");
        bool thrown = false;
        captured = Capture(
            [&] { thrown = Throws<std::runtime_error>([&] { checkVcopy(dir.Path().c_str()); }); });
        EXPECT_TRUE(thrown);
        EXPECT_EQ(captured.err, "");
        EXPECT_EQ(captured.out, Checking() + "a\nb\n");
    }
};

TEST_F(VirtualCopyExceptions, OutOfAnImageIsUnmountedBehind) {
    CheckThrows("validate_image");
    EXPECT_EQ(script.Calls(), (Lines{kInit, kMount, "validate_image P T a", kUmount}));
}

TEST_F(VirtualCopyExceptions, OutOfTheInitialisationLeavesNothingToUnmount) {
    CheckThrows("KovfsInit");
    EXPECT_EQ(script.Calls(), Lines{kInit});
}

TEST_F(VirtualCopyExceptions, OutOfTheMountLeavesNothingToUnmount) {
    CheckThrows("KovfsMountV1");
    EXPECT_EQ(script.Calls(), (Lines{kInit, kMount}));
}

TEST_F(VirtualCopyExceptions, OutOfTheUnmountIsNotUnmountedOnceMore) {
    CheckThrows("KovfsUmount");
    EXPECT_EQ(script.Calls({"KovfsUmount"}), Lines{kUmount});
}

/// The bytes of a mount record.
using RecordBytes = std::vector<unsigned char>;

RecordBytes BytesAt(const void* address) {
    RecordBytes bytes(5344);
    std::memcpy(bytes.data(), address, bytes.size());
    return bytes;
}

/// Little-endian 32-bit number into the bytes.
void Put32(RecordBytes& bytes, std::size_t offset, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i) {
        bytes[offset + i] = static_cast<unsigned char>(value >> (8 * i));
    }
}

TEST_F(VirtualCopy, EveryByteOfTheRecordIsAsAgreedWhenMounted) {
    RecordBytes mounted;
    script.On("KovfsMountV1", [&] { mounted = BytesAt(script.mountAddress); });
    Check("");
    ASSERT_EQ(mounted.size(), 5344U);
    RecordBytes expected(5344, 0);
    Put32(expected, 0, 0x17);
    std::memcpy(&expected[32], &mounted[32], sizeof(void*));
    std::memcpy(&expected[96], "/tmp", 4);
    Put32(expected, 4200, 1000);
    Put32(expected, 4212, 5);
    EXPECT_EQ(mounted, expected);
    const char* name = nullptr;
    std::memcpy(&name, &mounted[32], sizeof name);
    EXPECT_STREQ(name, "KOVFS");
    EXPECT_EQ(script.mountName, "KOVFS");
}

TEST_F(VirtualCopy, TheRecordIsClearButForItsFlagsWhenInitialised) {
    Check("");
    // Where the record lies is known from the first mount only, so the second run is looked at.
    const void* const address = script.mountAddress;
    RecordBytes initialised;
    script.On("KovfsInit", [&] { initialised = BytesAt(address); });
    Check("");
    RecordBytes expected(5344, 0);
    Put32(expected, 0, 7);
    EXPECT_EQ(initialised, expected);
    EXPECT_EQ(script.mountAddress, address);
    EXPECT_EQ(script.Calls({"KovfsInit"}), (Lines{kInit, kInit}));
}

TEST_F(VirtualCopy, TheRecordStaysBehindTheCheck) {
    RecordBytes mounted;
    script.On("KovfsMountV1", [&] { mounted = BytesAt(script.mountAddress); });
    Check("P\nT\na;\n");
    EXPECT_EQ(BytesAt(script.mountAddress), mounted);
}

}  // namespace
