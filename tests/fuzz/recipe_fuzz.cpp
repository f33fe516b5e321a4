#include "jorvshare/make/recipe.h"
#include "terminal/one_line.h"
#include "terminal/tool_error.h"
#include "tests/fuzz/fuzz_input.h"

namespace {

// A path that leads out of the site that is built.
bool LeadsOut(const std::string& path) {
    return path.empty() || path.front() == '/' ||
           ("/" + path + "/").find("/../") != std::string::npos;
}

}  // namespace

// The input is a recipe.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const fuzz::MemoryFile file;
    try {
        const jorvshare::Recipe recipe =
            jorvshare::LoadRecipe(file.Put(std::as_bytes(std::span(data, size))));
        for (const jorvshare::RecipeShare& share : recipe.shares) {
            if (LeadsOut(share.id)) {
                std::abort();
            }
            for (const jorvshare::RecipeFile& user : share.files) {
                if (LeadsOut(user.path)) {
                    std::abort();
                }
            }
        }
        for (const jorvshare::RecipeVolume& volume : recipe.volumes) {
            for (const auto& [path, text] : volume.files) {
                if (LeadsOut(path)) {
                    std::abort();
                }
            }
        }
    } catch (const terminal::ToolError& failure) {
        // One line, whatever the recipe holds.
        if (terminal::OneLine(failure.Message()).find('\n') != std::string::npos) {
            std::abort();
        }
    }
    return 0;
}
