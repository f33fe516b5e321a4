#include <cstdio>

#include "storage/image.h"
#include "storage/kovfs.h"
#include "tests/contract/contract_test.h"

namespace contract {
namespace {

class TheContainerFileSystem : public ContractTest {
  protected:
    void Mount() {
        data = {};
        data.flags = 7;
        EXPECT_GE(KovfsInit(data.initValue, data.initPointer, 7), 0);
        data.name = "KOVFS";
        data.value4212 = 5;
        data.value4200 = 1000;
        std::snprintf(data.directory, sizeof data.directory, "%s", "/tmp");
        data.flags |= 0x10;
        EXPECT_GE(KovfsMountV1("6.0.0.0", &data, sizeof data), 0);
    }

    KovfsMountRecord data;
};

TEST_F(TheContainerFileSystem, MountsAndUnmountsMoreThanOnce) {
    for (int round = 0; round < 2; ++round) {
        Mount();
        EXPECT_GE(KovfsUmount("KOVFS"), 0);
    }
}

TEST_F(TheContainerFileSystem, ValidatesImagesOneByOne) {
    site->PutImage("P", "T", "sound");
    site->PutImage("P", "T", "damaged");
    site->DamageImage("P", "T", "damaged");
    Mount();
    EXPECT_EQ(validate_image("P", "T", "sound"), 0);
    EXPECT_NE(validate_image("P", "T", "damaged"), 0);
    EXPECT_NE(validate_image("P", "T", "missing"), 0);
    EXPECT_NE(validate_image("P", "T2", "sound"), 0);
    EXPECT_EQ(validate_image("P", "T", "sound"), 0);
    EXPECT_GE(KovfsUmount("KOVFS"), 0);
}

}  // namespace
}  // namespace contract
