#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "tests/support/temp_dir.h"

// Runs a fuzz target over the files of folders and a bounded number of changed ones, for builds
// without a fuzzer: replay_<target> RUNS SEED FOLDER...

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

constexpr std::size_t kMostBytes = 65536;

class Changer {
  public:
    explicit Changer(std::uint64_t seed) : engine_(seed) {}

    std::size_t Below(std::size_t count) { return engine_() % count; }

    std::string Change(std::string text, const std::string& other) {
        for (std::size_t left = 1 + Below(4); left > 0; --left) {
            const std::size_t at = Below(text.size() + 1);
            switch (Below(6)) {
                case 0:
                    text.resize(at);
                    break;
                case 1:
                    text.insert(at, 1, static_cast<char>(engine_()));
                    break;
                case 2:
                    text.erase(at, 1 + Below(8));
                    break;
                case 3:
                    text.insert(at, other, Below(other.size() + 1), 1 + Below(64));
                    break;
                default:
                    if (at < text.size()) {
                        text[at] = static_cast<char>(text[at] ^ (1 << Below(8)));
                    }
            }
        }
        text.resize(std::min(text.size(), kMostBytes));
        return text;
    }

  private:
    std::mt19937_64 engine_;
};

void Run(const std::string& text) {
    // A copy of just the size, so that a sanitizer sees a byte read after it.
    const std::vector<std::uint8_t> exact(text.begin(), text.end());
    LLVMFuzzerTestOneInput(exact.data(), exact.size());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        return 2;
    }
    std::vector<std::string> paths;
    for (int i = 3; i < argc; ++i) {
        if (!std::filesystem::is_directory(argv[i])) {
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            paths.push_back(entry.path());
        }
    }
    std::sort(paths.begin(), paths.end());
    std::vector<std::string> texts;
    for (const std::string& path : paths) {
        texts.push_back(test_support::ReadFile(path));
        Run(texts.back());
    }
    if (texts.empty()) {
        std::fprintf(stderr, "nothing to begin with\n");
        return 1;
    }
    const std::uint64_t runs = std::strtoull(argv[1], nullptr, 10);
    Changer changer(std::strtoull(argv[2], nullptr, 10));
    for (std::uint64_t i = 0; i < runs; ++i) {
        const std::string& text = texts[changer.Below(texts.size())];
        Run(changer.Change(text, texts[changer.Below(texts.size())]));
    }
    return 0;
}
