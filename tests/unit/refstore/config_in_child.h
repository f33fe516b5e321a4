#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/support/temp_dir.h"

namespace refstore_test {

/// A directory with the configuration file jorv.toml in it, which JORV_CONFIG names. The library
/// reads its configuration once per process: only for use in ExpectInChild.
class ConfiguredDir : public test_support::TempDir {
  public:
    /// @param toml the file's text; the layout, which must be said, is added where it is not.
    explicit ConfiguredDir(std::string toml) {
        if (toml.find("use_file_ext_map") == std::string::npos) {
            toml += "use_file_ext_map = 0\n";
        }
        test_support::WriteFile(Config(), toml);
        ::setenv("JORV_CONFIG", Config().c_str(), 1);
    }

    [[nodiscard]] std::string Config() const { return *this / "jorv.toml"; }
};

/// Runs `body` in a process of its own, started afresh, so that nothing of the library has been
/// used there before. Its EXPECT_... failures fail the test. The test's only statement.
template <typename Body>
void ExpectInChild(const Body& body) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            body();
            std::exit(::testing::Test::HasFailure() ? 1 : 0);
        },
        ::testing::ExitedWithCode(0), "");
}

}  // namespace refstore_test
