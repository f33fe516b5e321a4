#include "jorvshare/site/site_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>

#include "jorvshare/report/wording.h"
#include "terminal/tool_error.h"

namespace jorvshare {

SiteLock::SiteLock(const std::string& site)
    : directory_(refstore::OpenFile(site, O_RDONLY | O_DIRECTORY)) {
    if (!directory_) {
        throw terminal::ToolError(wording::Errno(site, errno));
    }
    if (::flock(directory_.Get(), LOCK_EX | LOCK_NB) != 0) {
        throw terminal::ToolError(errno == EWOULDBLOCK ? wording::SiteInUse(site)
                                                       : wording::Errno(site, errno));
    }
    // A failed run takes away a site that it made: what was opened may no longer be what the path
    // names.
    struct stat held = {};
    struct stat named = {};
    if (::fstat(directory_.Get(), &held) != 0) {
        throw terminal::ToolError(wording::Errno(site, errno));
    }
    if (::stat(site.c_str(), &named) != 0 || held.st_dev != named.st_dev ||
        held.st_ino != named.st_ino) {
        throw terminal::ToolError(wording::SiteInUse(site));
    }
}

}  // namespace jorvshare
