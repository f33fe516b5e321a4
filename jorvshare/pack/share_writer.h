#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "jorvshare/pack/container_store.h"
#include "jorvshare/pack/pack.h"
#include "jorvshare/pack/shared_data.h"
#include "jorvshare/pack/source_file.h"
#include "jorvshare/site/root.h"
#include "jorvshare/site/site_layout.h"
#include "refstore/extent/extent.h"
#include "terminal/progress.h"

namespace jorvshare {

/// What is the same for all files of the share that is written.
struct ShareTarget {
    const Root& root;
    ShareLayout share;           ///< where it is built, relative to `root`
    std::string extentLocation;  ///< recorded in every header
    MapLayout layout = MapLayout::kFiles;
    std::uint64_t tableSpan = 0;  ///< bytes
};

/// Writes the metadata of one user file after the other, and its data into the stores. Directories
/// and storage units are open to their owner alone. Failures are SysExceptions and ToolErrors. A
/// user file that cannot be read, or that needs other mapping tables than there can be, is an
/// InputError and leaves no metadata. One thread.
class ShareWriter {
  public:
    /// `shared`, `containers` and `progress` outlive the writer; `shared` is not read in the
    /// layout of tables. The share's own directory is there and empty.
    ShareWriter(ShareTarget target, const SharedData* shared, ContainerStore* containers,
                terminal::Progress* progress);

    /// Makes a directory of the share. Directories come before what is in them.
    void AddDirectory(const std::string& relative);

    /// Packs the file `relative` of `source`.
    void AddFile(const Root& source, const std::string& relative);

    [[nodiscard]] std::uint64_t Files() const { return files_; }
    [[nodiscard]] std::uint64_t Bytes() const { return bytes_; }
    [[nodiscard]] std::uint64_t Extents() const { return extents_; }
    [[nodiscard]] std::uint64_t LocalBytes() const { return localBytes_; }

  private:
    [[nodiscard]] std::vector<refstore::Extent> StoreData(SourceFile* file,
                                                          const std::string& relative);
    void WriteTables(const std::string& relative, std::int64_t size,
                     const std::vector<refstore::Extent>& extents);
    void WriteHeader(const SourceFile& file, const std::string& relative);

    const ShareTarget target_;
    const SharedData* shared_;
    ContainerStore* containers_;
    terminal::Progress* progress_;
    std::uint64_t files_ = 0;
    std::uint64_t bytes_ = 0;
    std::uint64_t extents_ = 0;
    std::uint64_t localBytes_ = 0;
};

}  // namespace jorvshare
