#pragma once

#include <string>

#include "jorvck/file_check_manager.h"
#include "tests/unit/jorvck/file_checker_fixture.h"

namespace file_checker {

using Corvane::Kst::Marlow::JorvCk::FileCheckManager;

/// Runs over the share "12", whose directory is there.
class RunTest : public FileTest {
  protected:
    RunTest() {
        script.metaDir = dir / "meta";
        test_support::MakeDirs(MetaDir());
    }

    /// Volumes "v1", "v2", ... without containers.
    void AddVolumes(int count) {
        for (int volume = 1; volume <= count; ++volume) {
            const std::string path = dir / ("v" + std::to_string(volume));
            test_support::MakeDirs(path);
            script.volumes.push_back(path);
        }
    }

    /// A whole run; keeps what was printed.
    void Run(const std::string& id = "12", long hours = 0) {
        captured = test_support::Capture([&] {
            FileCheckManager manager;
            manager.CheckShare(id, hours);
        });
    }

    /// As Run, for a run that an exception leaves.
    template <typename E>
    void ExpectRunThrows(const std::string& id = "12") {
        bool thrown = false;
        captured = test_support::Capture([&] {
            thrown = test_support::Throws<E>([&] {
                FileCheckManager manager;
                manager.CheckShare(id, 0);
            });
        });
        EXPECT_TRUE(thrown);
    }

    /// All phases of a run on standard output.
    static std::string Phases(const std::string& id = "12", const std::string& hours = "0") {
        return "Checking files which are created before " + hours + " hours in " + id +
               "\nLoading volumes for " + id + "\nLoading data containers for " + id +
               "\nLoading headers for " + id + "\nChecking files for " + id + "\nCheck files for " +
               id + " done!\n";
    }

    test_support::Captured captured;
};

}  // namespace file_checker
