#pragma once

#include <string>
#include <vector>

#include "jorvck/extnode_check.h"
#include "tests/fake/fake_storage_test.h"
#include "tests/support/captured_streams.h"
#include "tests/support/temp_dir.h"
#include "tests/support/throws.h"

namespace extnode {

using Corvane::Kst::Marlow::JorvCk::ExtNodeCheck;
using Lines = std::vector<std::string>;

/// A share in a directory of its own: "map", "stu" and "head" below Root(), which ends in "/".
class ShareTest : public storage_fake::FakeStorageTest {
  protected:
    [[nodiscard]] std::string Root() const { return dir.Path() + "/"; }
    [[nodiscard]] std::string Map(const std::string& name) const { return dir / ("map/" + name); }
    [[nodiscard]] std::string Stu(const std::string& name) const { return dir / ("stu/" + name); }
    [[nodiscard]] std::string Head(const std::string& name) const { return dir / ("head/" + name); }

    /// "Verify file " and the path in the map tree, as a line.
    [[nodiscard]] std::string Verify(const std::string& name) const {
        return "Verify file " + Map(name) + "\n";
    }

    test_support::TempDir dir;
};

}  // namespace extnode
