#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace test_support {

/// A directory of its own for one test, removed with all that is in it. Its path never holds
/// "/head", which the checker searches paths for.
class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    [[nodiscard]] const std::string& Path() const { return path_; }

    /// Path() + "/" + relative.
    [[nodiscard]] std::string operator/(std::string_view relative) const;

  private:
    std::string path_;
};

/// Makes the directory and its parents.
void MakeDirs(const std::string& path);

/// Writes a file, replacing an older one; makes the directories above it.
void WriteFile(const std::string& path, std::string_view text);
void WriteFile(const std::string& path, std::span<const std::byte> bytes);

/// Whole contents of a file.
std::string ReadFile(const std::string& path);

/// Bytes of a text.
std::vector<std::byte> Bytes(std::string_view text);

/// Bytes as lower-case hexadecimal digits.
std::string Hex(std::span<const std::byte> bytes);

}  // namespace test_support
