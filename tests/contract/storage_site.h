#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/stored_records.h"

namespace contract {

/// A place with stored structures, read through one storage library. The suite says what is stored
/// here and then looks at it through the storage interface alone; each library has an adapter.
///
/// One site exists at a time. Paths are whole paths below Path("").
class StorageSite {
  public:
    StorageSite() = default;
    /// Fails the test when an object of the library is left alive, as far as it can tell.
    virtual ~StorageSite() = default;
    StorageSite(const StorageSite&) = delete;
    StorageSite& operator=(const StorageSite&) = delete;

    /// A fresh, empty site of the library that the suite is linked with, its settings those below.
    static std::unique_ptr<StorageSite> Make();

    /// The settings of every site.
    static constexpr std::int32_t kUseFileExtMap = 1;
    static constexpr bool kDcidBloomEnabled = true;
    static constexpr std::uint32_t kTableSpanGiB = 3;
    static constexpr bool kKlfsAware = true;
    [[nodiscard]] virtual std::string MetaDir() const = 0;
    [[nodiscard]] virtual std::string FstabPath() const = 0;
    /// A directory that is a Klfs volume.
    [[nodiscard]] virtual std::string KlfsDirectory() const = 0;

    [[nodiscard]] virtual std::string Path(const std::string& relative) const = 0;

    virtual void PutHeader(const std::string& path, const test_support::StoredHeader& header) = 0;
    virtual void PutExtentFile(const std::string& path,
                               const test_support::StoredExtentFile& file) = 0;
    /// The tables are in ascending order of offset, their extents of start.
    virtual void PutTables(const std::string& directory,
                           const test_support::StoredTables& tables) = 0;
    virtual void PutDirectory(const std::string& path) = 0;
    virtual void PutVolumes(const std::vector<std::string>& mountPaths) = 0;
    virtual void PutImage(const std::string& policy, const std::string& backupTime,
                          const std::string& name) = 0;

    /// What is stored there cannot be loaded any longer.
    virtual void Damage(const std::string& path) = 0;
    virtual void DamageTables(const std::string& directory) = 0;
    virtual void DamageVolumes() = 0;
    virtual void DamageImage(const std::string& policy, const std::string& backupTime,
                             const std::string& name) = 0;

    /// Lines that JORV_LOG wrote since the site was made.
    [[nodiscard]] virtual std::vector<std::string> LogLines() const = 0;

    /// Everything below the site as text, to see that reading changes nothing. May be empty.
    [[nodiscard]] virtual std::string Snapshot() const = 0;
};

}  // namespace contract
