#pragma once

#include <set>
#include <string>
#include <vector>

#include "jorvck/file_checker.h"
#include "tests/fake/fake_storage_test.h"
#include "tests/support/captured_streams.h"
#include "tests/support/temp_dir.h"
#include "tests/support/throws.h"

namespace file_checker {

namespace JorvCk = Corvane::Kst::Marlow::JorvCk;
using Corvane::Kst::Marlow::JorvCk::FileChecker;
using Corvane::Kst::Marlow::JorvCk::FileInfo;
using Lines = std::vector<std::string>;

/// The share "12" in the share directory "2", with its files' extents on a volume of its own.
class FileTest : public storage_fake::FakeStorageTest {
  protected:
    FileTest() { script.shareDirs["12"] = "2"; }

    [[nodiscard]] std::string MetaDir() const { return dir / "meta/2/12"; }
    [[nodiscard]] std::string HeaderPath(const std::string& relPath) const {
        return MetaDir() + "/head" + relPath;
    }
    [[nodiscard]] std::string ExtentPath(const std::string& relPath) const {
        return dir / ("vol/2/12/map" + relPath);
    }

    /// Header and extent map of a sound file without extents: size 4096, mtime 1600000000, fg 3.
    void AddFile(const std::string& relPath) {
        test_support::WriteFile(HeaderPath(relPath), "");
        script.headers[HeaderPath(relPath)] = {
            .size = 4096, .mtime = 1600000000, .fg = 3, .extentLocation = dir / "vol"};
        test_support::WriteFile(ExtentPath(relPath) + "/data.mdb", "");
        script.tableDirectories[ExtentPath(relPath)].fileSize = 4096;
    }

    /// The summary line of a file made by AddFile.
    [[nodiscard]] std::string Summary(const std::string& relPath, int code) const {
        return "[ERROR]: File information, path: " + relPath + " ec: " + std::to_string(code) +
               " [ mtim: 1600000000 size: 4096 fg: 3 ext: " + ExtentPath(relPath) +
               " extl: local ]\n";
    }

    test_support::TempDir dir;
};

}  // namespace file_checker
