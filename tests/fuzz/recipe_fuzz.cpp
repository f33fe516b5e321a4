#include "jorvshare/make/make.h"
#include "terminal/one_line.h"
#include "terminal/tool_error.h"
#include "tests/fuzz/fuzz_input.h"

// The input is a recipe.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const fuzz::MemoryFile file;
    try {
        jorvshare::CheckRecipe(file.Put(std::as_bytes(std::span(data, size))));
    } catch (const terminal::ToolError& failure) {
        // One line, also when the recipe holds line ends.
        if (terminal::OneLine(failure.Message()).find('\n') != std::string::npos) {
            std::abort();
        }
    }
    return 0;
}
