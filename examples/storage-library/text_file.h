#pragma once

#include <cstdint>
#include <sstream>
#include <string>

namespace text_storage {

/// Throws SysException, the message "<path>: <reason>".
[[noreturn]] void Fail(int errorNumber, const std::string& path, const std::string& reason);

/// The words of a regular file of at most 16 MiB. Every failure is a SysException.
class TextFile {
  public:
    explicit TextFile(const std::string& path);

    /// The next word, as a value of the given type; damage when there is none or it does not fit.
    template <typename Value>
    Value Next() {
        Value value = {};
        if (!(words_ >> value)) {
            FailDamaged();
        }
        return value;
    }

    /// True when all words have been read.
    bool AtEnd() { return (words_ >> std::ws).eof(); }

    [[noreturn]] void FailDamaged() const;

  private:
    std::string path_;
    std::istringstream words_;
};

/// Path below the folder of the storage, without a slash in front.
std::string StoragePath(const std::string& path);

}  // namespace text_storage
