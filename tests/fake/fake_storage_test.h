#pragma once

#include <gtest/gtest.h>

#include "tests/fake/script.h"

namespace storage_fake {

/// Fixture of every test that is linked with the fake: a fresh script, and at the end no object of
/// the fake left alive, members of the test's own class included.
class FakeStorageTest : public testing::Test {
  public:
    FakeStorageTest() = default;
    ~FakeStorageTest() override { script.ExpectNothingLeft(); }
    FakeStorageTest(const FakeStorageTest&) = delete;
    FakeStorageTest& operator=(const FakeStorageTest&) = delete;

  protected:
    Script script;
};

}  // namespace storage_fake
