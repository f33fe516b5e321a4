#include "terminal/tool_error.h"

#include <system_error>

namespace terminal {

std::string Errno(const std::string& path, int code) {
    return path + ": " + std::generic_category().message(code) + " (errno " + std::to_string(code) +
           ")";
}

}  // namespace terminal
