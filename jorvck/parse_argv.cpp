#include "jorvck/parse_argv.h"

#include <algorithm>
#include <cstdlib>
#include <span>
#include <string_view>

#include "jorvck/console.h"

namespace Corvane::Kst::Marlow::JorvCk {

namespace {

/// Hours of "--t": the low 32 bits of the leading number as a signed number, at least 0; 0 when
/// there is no number.
std::int32_t ParseHours(const char* word) {
    // atol on purpose: a word that is no number means 0 hours and no message.
    const long number = std::atol(word);
    return std::max(static_cast<std::int32_t>(number), std::int32_t{0});
}

}  // namespace

EnvParam* EnvParam::s_pInstance = nullptr;

EnvParam& EnvParam::GetInstance() {
    if (s_pInstance == nullptr) {
        s_pInstance = new EnvParam;
    }
    return *s_pInstance;
}

bool EnvParam::ParseArgv(int argc, char** argv) {
    EnvParam& params = GetInstance();
    params.verifyData = false;
    bool usageNeeded = true;
    const std::span<char* const> words(argv, static_cast<std::size_t>(std::max(argc, 0)));
    for (std::size_t i = 1; i < words.size(); ++i) {
        const std::string_view word = words[i];
        const bool hasNext = i + 1 < words.size();
        if (word == "--share_path" || word == "--share_id" || word == "--t") {
            if (!hasNext) {
                // A value that is missing at the end is ignored: the words before it decide.
                break;
            }
            // The next word is always the value, even when it is the name of another option.
            const char* const value = words[++i];
            if (word == "--share_path") {
                params.sharePath = value;
            } else if (word == "--share_id") {
                params.shareId = value;
            } else {
                params.olderThanHours = ParseHours(value);
            }
            usageNeeded = false;
        } else if (word == "--help") {
            return false;
        } else if (word == "--verify_data") {
            // Does not make the command line acceptable: it names no share.
            params.verifyData = true;
        } else {
            usageNeeded = true;
            break;
        }
    }
    return !usageNeeded;
}

void EnvParam::PrintUsage() {
    Write(lines::kUsage);
    Write(lines::kUsageShare);
    Write(lines::kUsageAge);
    Write(lines::kUsageVerify);
}

}  // namespace Corvane::Kst::Marlow::JorvCk
