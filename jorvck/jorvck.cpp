#include <sys/resource.h>

#include <algorithm>
#include <string>

#include "jorvck/console.h"
#include "jorvck/extnode_check.h"
#include "jorvck/file_check_manager.h"
#include "jorvck/fs_check_meta.h"
#include "jorvck/join_text.h"
#include "jorvck/parse_argv.h"
#include "jorvck/vcopy_check.h"

namespace Corvane::Kst::Marlow::JorvCk {

namespace {

/// Raises the limit of open files to 4096, or as far as allowed: each walk holds one directory open
/// per level, and there is one walk per volume. A failure is ignored.
void RaiseOpenFileLimit() {
    constexpr rlim_t kEnough = 4096;
    rlimit limit = {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < kEnough) {
        limit.rlim_cur = std::min(limit.rlim_max, kEnough);
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
}

/// Metadata check mode. Each check runs even when the one before it had findings; only an exception
/// stops the sequence.
void RunMetadataChecks(const std::string& sharePath) {
    FsCheckMeta fsCheckMeta(sharePath);
    fsCheckMeta.CheckMeta();

    // The share's root is its path with a final "/".
    ExtNodeCheck extNodeCheck(JoinText(sharePath, ""));
    extNodeCheck.ExtNodeCheck_Cksum(JoinText(sharePath, "map").c_str(),
                                    JoinText(sharePath, "stu").c_str());

    checkVcopy(sharePath.c_str());
}

void RunFileDataCheck(const std::string& shareId, long hours) {
    FileCheckManager manager;
    manager.CheckShare(shareId, hours);
}

}  // namespace

}  // namespace Corvane::Kst::Marlow::JorvCk

/// One run: parses the arguments, runs one mode, reports on the standard streams.
///
/// @return 0 when the mode ran to its end, with or without findings; -1 when the usage text was
/// printed or
///         an exception ended the run.
int main(int argc, char** argv) {
    using namespace Corvane::Kst::Marlow::JorvCk;
    try {
        RaiseOpenFileLimit();
        if (!EnvParam::ParseArgv(argc, argv)) {
            EnvParam::PrintUsage();
            return -1;
        }
        const EnvParam& params = EnvParam::GetInstance();
        // A share id alone does not select the file data check, and the metadata checks never turn
        // an id into a path: without --share_path they run on an empty one.
        if (!params.shareId.empty() && params.verifyData) {
            RunFileDataCheck(params.shareId, params.olderThanHours);
        } else {
            RunMetadataChecks(params.sharePath);
        }
        return 0;
    } catch (...) {
        Write(lines::kUnhandledException);
        return -1;
    }
}
