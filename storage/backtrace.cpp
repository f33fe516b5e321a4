#include "storage/backtrace.h"

#include <cxxabi.h>
#include <execinfo.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <vector>

namespace jorv {

namespace {

constexpr std::size_t kNameBytes = 256;

struct FreeSymbols {
    void operator()(char** symbols) const { std::free(static_cast<void*>(symbols)); }
};

}  // namespace

// The demangler reallocates its output with the C library's functions, so the buffer is theirs.
NameBuffer::NameBuffer() : data_(static_cast<char*>(std::malloc(kNameBytes))), size_(kNameBytes) {}

NameBuffer::~NameBuffer() {
    std::free(data_);
}

const char* NameBuffer::Demangle(const char* mangled) {
    int status = 0;
    char* const name = abi::__cxa_demangle(mangled, data_, &size_, &status);
    if (status != 0) {
        return nullptr;
    }
    data_ = name;
    return name;
}

std::string FormatFrame(const std::string& line, NameBuffer& names) {
    constexpr std::size_t kNone = std::string::npos;
    std::size_t open = kNone;
    std::size_t plus = kNone;
    std::size_t close = kNone;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '(') {
            open = i;
        } else if (line[i] == '+') {
            plus = i;
        } else if (line[i] == ')' && plus != kNone) {
            close = i;
            break;
        }
    }
    if (open == kNone || close == kNone || open > plus) {
        return "  " + line + "\n";
    }
    const std::string mangled = line.substr(open + 1, plus - open - 1);
    const std::string offset = line.substr(plus + 1, close - plus - 1);
    const char* const demangled = names.Demangle(mangled.c_str());
    return "  " + (demangled != nullptr ? std::string(demangled) : mangled) + "+" + offset + "\n";
}

std::string get_backtrace(unsigned int maxFrames) {
    std::string text = "stack trace:\n";
    std::vector<void*> addresses(std::size_t{maxFrames} + 1);
    const int count = ::backtrace(addresses.data(), static_cast<int>(addresses.size()));
    const std::unique_ptr<char*, FreeSymbols> symbols(
        count > 0 ? ::backtrace_symbols(addresses.data(), count) : nullptr);
    if (symbols == nullptr) {
        text += "  <empty, possibly corrupt>\n";
        return text;
    }
    NameBuffer names;
    // The first frame is this function itself.
    for (int i = 1; i < count; ++i) {
        text += FormatFrame(symbols.get()[i], names);
    }
    return text;
}

}  // namespace jorv
