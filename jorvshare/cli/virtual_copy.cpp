#include "jorvshare/cli/virtual_copy.h"

#include "jorvshare/report/wording.h"
#include "terminal/tool_error.h"

namespace jorvshare {

ImageName ParseVirtualCopy(const std::string& text) {
    const std::size_t first = text.find(':');
    const std::size_t last = text.rfind(':');
    const auto usable = [](const std::string& name) {
        return IsPlainName(name) && name.find('\n') == std::string::npos;
    };
    if (first != last) {
        ImageName image{text.substr(0, first), text.substr(first + 1, last - first - 1),
                        text.substr(last + 1)};
        if (usable(image.policy) && usable(image.backupTime) && usable(image.name) &&
            image.name.find(';') == std::string::npos && !IsStagingName(image.name)) {
            return image;
        }
    }
    throw terminal::ToolError(wording::BadVirtualCopy(text));
}

}  // namespace jorvshare
