#include <string_view>

#include "jorvck/parse_argv.h"
#include "tests/fuzz/fuzz_input.h"

// The input is the words of a command line, each ended by a NUL byte.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using Corvane::Kst::Marlow::JorvCk::EnvParam;
    std::string text(reinterpret_cast<const char*>(data), size);
    text += '\0';
    std::vector<char*> words;
    for (std::size_t at = 0; at < text.size(); at = text.find('\0', at) + 1) {
        words.push_back(text.data() + at);
    }
    const int count = static_cast<int>(words.size());
    words.push_back(nullptr);
    EnvParam::ParseArgv(count, words.data());
    // The one object keeps what earlier inputs have set.
    if (EnvParam::GetInstance().olderThanHours < 0) {
        std::abort();
    }
    return 0;
}
