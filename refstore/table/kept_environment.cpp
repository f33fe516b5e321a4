#include "refstore/table/kept_environment.h"

#include <optional>

#include "refstore/table/coverage_check.h"
#include "refstore/table/file_stamp.h"

namespace refstore {

namespace {

struct Kept {
    std::string directory;
    std::optional<FileStamp> stamp;
    std::shared_ptr<const TableEnvironment> environment;
};

// One for each thread, so that nothing is shared and nothing locked.
thread_local Kept kept;

}  // namespace

std::shared_ptr<const TableEnvironment> LoadEnvironment(const std::string& directory) {
    // Given up first: two of the largest files at once would be one too many.
    kept.environment.reset();
    std::optional<FileStamp> stamp;
    auto environment = TableEnvironment::Load(directory, &stamp);
    RequireSteppable(*environment, directory);
    kept.directory = directory;
    kept.stamp = stamp;
    kept.environment = environment;
    return environment;
}

std::shared_ptr<const TableEnvironment> KeptEnvironment(const std::string& directory) {
    if (kept.environment == nullptr || directory != kept.directory || !kept.stamp->Settled() ||
        FileStamp::Of(directory + "/data.mdb") != kept.stamp) {
        return nullptr;
    }
    return kept.environment;
}

}  // namespace refstore
