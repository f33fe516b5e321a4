#pragma once

#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

#include "jorvshare/pack/container_store.h"
#include "jorvshare/pack/pack_site.h"
#include "jorvshare/pack/source_file.h"
#include "jorvshare/site/root.h"
#include "jorvshare/site/site_layout.h"
#include "refstore/extent/extent.h"
#include "terminal/progress.h"

namespace jorvshare {

/// Fingerprints of the data that occurs in two or more files.
using SharedData = std::unordered_set<crfp_digest_t, FingerprintHash>;

/// Writes the metadata of one user file after the other, and its data into the stores. Directories
/// and storage units are open to their owner alone. Failures are SysExceptions and ToolErrors. A
/// user file that cannot be read, or that needs other mapping tables than there can be, is an
/// InputError and leaves no metadata. One thread.
class ShareWriter {
  public:
    /// All that is given outlives the writer; `shared` is not read in the layout of tables. `site`
    /// has begun, and the share's own directory in it is empty.
    ShareWriter(const PackSite& site, const SharedData& shared, ContainerStore* containers,
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

    const PackSite& site_;
    const Root& root_;
    const ShareLayout share_;  ///< relative to root_
    const SharedData& shared_;
    ContainerStore* containers_;
    terminal::Progress* progress_;
    std::uint64_t files_ = 0;
    std::uint64_t bytes_ = 0;
    std::uint64_t extents_ = 0;
    std::uint64_t localBytes_ = 0;
};

}  // namespace jorvshare
