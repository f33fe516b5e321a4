#include "storage/config.h"

#include <memory>

#include "refstore/config/settings.h"

namespace Corvane::Kst::Marlow::Jorv {

// Both objects are never freed: a thread or a destructor that runs late may still ask them.

JorvConfig* JorvConfig::GetInstance() {
    const refstore::Settings& settings = refstore::GetSettings();
    static JorvConfig* const instance = [&settings] {
        auto made = std::make_unique<JorvConfig>();
        made->useFileExtMap = settings.useFileExtMap;
        return made.release();
    }();
    return instance;
}

FileSystemDaemonConfig* FileSystemDaemonConfig::GetInstance() {
    const refstore::Settings& settings = refstore::GetSettings();
    static FileSystemDaemonConfig* const instance = [&settings] {
        auto made = std::make_unique<FileSystemDaemonConfig>();
        made->dcidBloomEnabled = settings.dcidBloomEnabled;
        made->tableSpanGiB = settings.tableSpanGiB;
        made->klfsAware = settings.klfsAware;
        return made.release();
    }();
    return instance;
}

std::string FileSystemDaemonConfig::GetMetaDirPath() {
    return refstore::GetSettings().metaDir;
}

}  // namespace Corvane::Kst::Marlow::Jorv
