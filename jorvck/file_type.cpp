#include "jorvck/file_type.h"

#include <boost/filesystem/exception.hpp>
#include <cerrno>

namespace Corvane::Kst::Marlow::JorvCk {

mode_t FileType(const std::string& path) {
    struct stat attributes = {};
    if (::stat(path.c_str(), &attributes) == 0) {
        return attributes.st_mode & static_cast<mode_t>(S_IFMT);
    }
    if (errno == ENOENT || errno == ENOTDIR) {
        return 0;
    }
    const boost::system::error_code code(errno, boost::system::system_category());
    throw boost::filesystem::filesystem_error("status", path, code);
}

}  // namespace Corvane::Kst::Marlow::JorvCk
