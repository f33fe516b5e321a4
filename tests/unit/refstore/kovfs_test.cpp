#include "storage/kovfs.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "storage/image.h"
#include "tests/unit/refstore/config_in_child.h"

namespace {

using refstore_test::ConfiguredDir;
using refstore_test::ExpectInChild;

KovfsMountRecord SoundRecord() {
    KovfsMountRecord data;
    std::memset(&data, 0, sizeof data);
    data.flags = 0x17;
    data.name = "KOVFS";
    std::strcpy(data.directory, "/tmp");
    data.value4200 = 1000;
    data.value4212 = 5;
    return data;
}

int Mount(KovfsMountRecord data) {
    return KovfsMountV1("6.0.0.0", &data, sizeof data);
}

TEST(Kovfs, ASoundRecordMountsOnceAndUnmountsOnce) {
    ExpectInChild([] {
        const ConfiguredDir dir("image_root = '.'\n");
        EXPECT_EQ(KovfsUmount("KOVFS"), -EINVAL);
        EXPECT_EQ(Mount(SoundRecord()), -EINVAL) << "before KovfsInit";
        EXPECT_EQ(KovfsInit(0, nullptr, 7), 0);
        for (int round = 0; round < 2; ++round) {
            EXPECT_EQ(Mount(SoundRecord()), 0);
            EXPECT_EQ(Mount(SoundRecord()), -EBUSY);
            EXPECT_EQ(KovfsUmount("kovfs"), -EINVAL);
            EXPECT_EQ(KovfsUmount(""), -EINVAL);
            EXPECT_EQ(KovfsUmount(nullptr), -EINVAL);
            EXPECT_EQ(KovfsUmount("KOVFS"), 0);
            EXPECT_EQ(KovfsUmount("KOVFS"), -EINVAL);
        }
    });
}

TEST(Kovfs, InitChecksItsArguments) {
    ExpectInChild([] {
        int any = 0;
        EXPECT_EQ(KovfsInit(1, nullptr, 7), -EINVAL);
        EXPECT_EQ(KovfsInit(0, &any, 7), -EINVAL);
        EXPECT_EQ(KovfsInit(0, nullptr, 0x17), -EINVAL);
        EXPECT_EQ(Mount(SoundRecord()), -EINVAL) << "none of them initialised anything";
    });
}

TEST(Kovfs, MountChecksItsArguments) {
    ExpectInChild([] {
        const ConfiguredDir dir("image_root = '.'\n");
        KovfsMountRecord data = SoundRecord();
        EXPECT_EQ(KovfsInit(0, nullptr, 7), 0);
        EXPECT_EQ(KovfsMountV1(nullptr, &data, sizeof data), -EINVAL);
        EXPECT_EQ(KovfsMountV1("6.0.0.1", &data, sizeof data), -EINVAL);
        EXPECT_EQ(KovfsMountV1("6.0.0.0 ", &data, sizeof data), -EINVAL);
        EXPECT_EQ(KovfsMountV1("6.0.0.0", nullptr, sizeof data), -EINVAL);
        EXPECT_EQ(KovfsMountV1("6.0.0.0", &data, sizeof data - 1), -EINVAL);
        EXPECT_EQ(KovfsMountV1("6.0.0.0", &data, sizeof data + 1), -EINVAL);
        EXPECT_EQ(KovfsMountV1("6.0.0.0", &data, sizeof data), 0);
    });
}

// True for the bytes that hold a value or text which is checked or whose rest is free.
bool IsFree(std::size_t place) {
    // Behind the end of the text "/tmp".
    return place > 96 + 4 && place < 4193;
}

TEST(Kovfs, EveryByteOfTheRecordIsChecked) {
    ExpectInChild([] {
        const ConfiguredDir dir("image_root = '.'\n");
        EXPECT_EQ(KovfsInit(0, nullptr, 7), 0);
        for (std::size_t place = 0; place < sizeof(KovfsMountRecord); ++place) {
            if (place >= 32 && place < 40) {
                // The pointer to the name: changed, it points anywhere.
                continue;
            }
            KovfsMountRecord data = SoundRecord();
            unsigned char byte = 0;
            std::memcpy(&byte, reinterpret_cast<unsigned char*>(&data) + place, 1);
            byte ^= 1U;
            std::memcpy(reinterpret_cast<unsigned char*>(&data) + place, &byte, 1);
            const int result = Mount(data);
            EXPECT_EQ(result, IsFree(place) ? 0 : -EINVAL) << "byte " << place;
            if (result == 0) {
                KovfsUmount("KOVFS");
            }
        }
        KovfsMountRecord data = SoundRecord();
        data.name = nullptr;
        EXPECT_EQ(Mount(data), -EINVAL);
        data.name = "KOVF";
        EXPECT_EQ(Mount(data), -EINVAL);
        data = SoundRecord();
        std::memset(data.directory, 'x', sizeof data.directory);
        EXPECT_EQ(Mount(data), -EINVAL) << "no end of the text";
    });
}

TEST(Kovfs, WithoutAnImageRootTheMountSucceedsAndEveryImageIsMissing) {
    ExpectInChild([] {
        const ConfiguredDir dir("");
        EXPECT_EQ(KovfsInit(0, nullptr, 7), 0);
        EXPECT_EQ(Mount(SoundRecord()), 0);
        EXPECT_EQ(validate_image("P", "T", "i1"), 2);
        EXPECT_EQ(validate_image("..", "T", "i1"), 22);
        EXPECT_EQ(KovfsUmount("KOVFS"), 0);
    });
}

TEST(Kovfs, WithAMissingImageRootTheMountFails) {
    ExpectInChild([] {
        const ConfiguredDir dir("image_root = 'images'\n");
        EXPECT_EQ(KovfsInit(0, nullptr, 7), 0);
        EXPECT_EQ(Mount(SoundRecord()), -ENOENT);
        test_support::WriteFile(dir / "images", "");
        EXPECT_EQ(Mount(SoundRecord()), -ENOTDIR);
        EXPECT_EQ(KovfsUmount("KOVFS"), -EINVAL);
    });
}

}  // namespace
