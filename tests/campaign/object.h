#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace campaign {

/// What is put in the place of a file.
enum class Object : std::uint8_t {
    kNothing,
    kDirectory,
    kFifo,
    kSocket,
    kDevice,
    kDanglingLink,
    kLinkLoop,
    kUnreadable,
};
inline constexpr std::uint64_t kObjects = 8;

std::string_view NameOf(Object object);

/// Puts something else in a file's place; the file is back when this ends.
class ReplacedFile {
  public:
    ReplacedFile(const std::string& path, Object object);
    ~ReplacedFile();
    ReplacedFile(const ReplacedFile&) = delete;
    ReplacedFile& operator=(const ReplacedFile&) = delete;

  private:
    std::string path_;
    std::string aside_;
    bool unreadable_;
};

/// Other bytes in a file; its own are back when this ends.
class ChangedFile {
  public:
    /// @param sound the bytes that it has.
    ChangedFile(const std::string& path, const std::string& sound, const std::string& changed);
    ~ChangedFile();
    ChangedFile(const ChangedFile&) = delete;
    ChangedFile& operator=(const ChangedFile&) = delete;

  private:
    std::string path_;
    const std::string& sound_;
};

}  // namespace campaign
