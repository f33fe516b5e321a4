#pragma once

#include <string_view>

namespace jorvaudit {

/// page.html, with {{word}} where something goes.
extern const std::string_view kPage;

}  // namespace jorvaudit
