#include "jorvck/driver/run.h"

#include <string>

#include "jorvck/console/console.h"
#include "jorvck/driver/messages.h"
#include "jorvck/driver/parse_argv.h"
#include "jorvck/extent_checksum/extnode_check.h"
#include "jorvck/file_data/file_check_manager.h"
#include "jorvck/paths/join_text.h"
#include "jorvck/share_metadata/fs_check_meta.h"
#include "jorvck/virtual_copy/check_vcopy.h"

namespace Corvane::Kst::Marlow::JorvCk {

namespace {

/// Metadata check mode. Each check runs whatever the one before it found; only an exception stops
/// the sequence.
void RunMetadataChecks(const std::string& sharePath) {
    FsCheckMeta fsCheckMeta(sharePath);
    fsCheckMeta.CheckMeta();

    // The share's root is its path with a "/" behind it.
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

int Run(int argc, char** argv) {
    try {
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
        WriteOutput(kUnhandledException);
        return -1;
    }
}

}  // namespace Corvane::Kst::Marlow::JorvCk
