#pragma once

#include <gtest/gtest.h>

#include "tests/fake/script.h"

namespace storage_fake {

/// Fixture of every test that is linked with the fake: a fresh script, and at the end no object of
/// the fake left alive. A class that overrides TearDown calls this one's.
class FakeStorageTest : public testing::Test {
  protected:
    void TearDown() override { script.ExpectNothingLeft(); }

    Script script;
};

}  // namespace storage_fake
