#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "jorvck/parse_argv.h"

namespace test_support {

/// Arguments as main gets them, the program's name in front.
class CommandLine {
  public:
    CommandLine(std::initializer_list<std::string> words) : words_(words) {
        words_.insert(words_.begin(), "jorvck");
    }

    [[nodiscard]] int Count() const { return static_cast<int>(words_.size()); }
    /// Valid until the next call.
    [[nodiscard]] char** Words() {
        // Gathered here rather than once, so that a copy has pointers to words of its own.
        pointers_.clear();
        for (std::string& word : words_) {
            pointers_.push_back(word.data());
        }
        pointers_.push_back(nullptr);
        return pointers_.data();
    }

  private:
    std::vector<std::string> words_;
    std::vector<char*> pointers_;
};

/// Puts the parameters back to what they are when the process starts.
inline void ResetEnvParam() {
    auto& params = Corvane::Kst::Marlow::JorvCk::EnvParam::GetInstance();
    params.sharePath.clear();
    params.shareId.clear();
    params.verifyData = false;
    params.olderThanHours = 0;
}

inline constexpr const char* kUsageText =
    "USAGE:\n"
    "\t[--share_id <share id> |--share_path <share path>\t\trequired]\n"
    "\t--t <file creation time older than (int) hours> \t\toptional\n"
    "\t--verify_data\t\toptional\n";

}  // namespace test_support
