#include "refstore/fstab/fstab_writer.h"

#include <stdexcept>

namespace refstore {

namespace {

std::string Escaped(const std::string& directory) {
    std::string text;
    for (const char c : directory) {
        switch (c) {
            case ' ':
                text += "\\040";
                break;
            case '\t':
                text += "\\011";
                break;
            case '\n':
                text += "\\012";
                break;
            case '\\':
                text += "\\134";
                break;
            default:
                text += c;
        }
    }
    return text;
}

}  // namespace

std::string EncodeFstab(const std::vector<std::string>& volumeDirectories) {
    return AppendToFstab(
        "# Storage volumes. The second field is the directory that a volume is mounted on.\n",
        volumeDirectories);
}

std::string AppendToFstab(std::string text, std::span<const std::string> volumeDirectories) {
    if (!text.empty() && !text.ends_with('\n')) {
        text += '\n';
    }
    for (const std::string& directory : volumeDirectories) {
        if (directory.empty() || directory.find('\0') != std::string::npos) {
            throw std::invalid_argument("a volume's directory is empty or holds a NUL byte");
        }
        text += "volume " + Escaped(directory) + " none defaults 0 0\n";
    }
    return text;
}

}  // namespace refstore
