#pragma once

#include <string>

#include "storage/mapping_table.h"

namespace Corvane::Kst::Marlow::JorvCk {

/// Share metadata check: pairs every header file of a share with its extent metadata and checks
/// that they belong together. Reports on standard error and stops at the first inconsistency. Main
/// thread only.
///
/// Results: 0 consistent, -1 a finding that has been printed. A SysException while a header is
/// loaded or in CheckExts is a finding; all other exceptions pass to the caller.
class FsCheckMeta {
  public:
    /// @param path the share's directory, exactly as given on the command line.
    explicit FsCheckMeta(std::string path);

    /// Walks the share. An empty share path names no directory and walks nothing; any other that
    /// cannot be listed raises the path library's exception.
    void CheckMeta();

    /// Checks every mapping table of the extent directory `extentPath`; 0 when there is nothing to
    /// examine.
    int CheckDCIDAndBloom(const std::string& extentPath);

    /// Checks one table: every extent's DCID must be in the table's DCID list (-1 at the first that
    /// is not), and its fingerprint should pass the table's bloom filter (printed only). The table
    /// stays the caller's. `extentPath` is not used: the messages name no file.
    static int CheckDCIDAndBloom(const std::string& extentPath, Jorv::CMappingTable* table);

    /// Loads the extent metadata at `extentPath`. In the layout of one extent file per user file
    /// `transId` receives the file's transaction id; otherwise, and on failure, it is left alone. 0
    /// when it loaded or there is no directory of tables, -1 when it does not load.
    static int CheckExts(const std::string& extentPath, long* transId);

  private:
    /// Checks one header file and its counterpart in the map tree. False after a finding, which
    /// ends the walk.
    bool CheckHeader(const std::string& headerPath, const std::string& extentPath);

    std::string sharePath;
};

}  // namespace Corvane::Kst::Marlow::JorvCk
