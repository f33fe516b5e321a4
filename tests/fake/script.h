#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "storage/kovfs.h"
#include "tests/support/stored_records.h"

namespace storage_fake {

/// What the fake storage library does during one test, and the record of what was asked of it.
///
/// One script is current at a time: the one made last; when it goes, the one before it is current
/// again. Making one resets the fake. Every operation
/// of the storage interface writes one line into the record, "<operation> <argument>...", before it
/// does anything; constructors and destructors too. The lines:
///
///   HeaderFile::HeaderFile              HeaderFile::Load PATH        HeaderFile::~HeaderFile
///   ExtentFile::ExtentFile              ExtentFile::Load PATH        ExtentFile::~ExtentFile
///   CreateMappingTable "NAME"           CMappingTable::Open PATH klfs=0 name="NAME"
///   CMappingTable::{begin, end, GetDcidList, ~CMappingTable} TABLE
///   MappingCursor::{Current, Next, Equals, Destroy} TABLE#INDEX
///   Ext::{GetDCID, GetSORef, GetCksum, ...} TABLE#INDEX
///   FileExtMapMgr::FileExtMapMgr PATH name="NAME" table=null|given
///   FileExtMapMgr::newFileExtMapMgr PATH name="NAME"
///   BaseFileExtMapMgr::LoadTables PATH  BaseFileExtMapMgr::GetTableForRead PATH OFFSET
///   FileExtMapMgr::GetFileSize PATH     FileExtMapMgr::~FileExtMapMgr PATH
///   BloomFilter::Matches HEX            BloomFilter::~BloomFilter
///   CRFPDigestToString_r FORMAT SIZE cleared|dirty
///   JorvConfig::GetInstance             FileSystemDaemonConfig::GetInstance
///   FileSystemDaemonConfig::GetMetaDirPath
///   configLock.lock_shared              configLock.unlock_shared
///   VolMgr::GetStorageFstabPath         VolMgr::LoadGlobalFstab PATH
///   JorvUtils::GetShareDir ID           IsKlfs PATH
///   KovfsInit VALUE null|given FLAGS    KovfsMountV1 VERSION SIZE    KovfsUmount NAME
///   validate_image POLICY TIME NAME     JORV_LOG LEVEL TEXT
///
/// TABLE is "new" for a table fresh from CreateMappingTable, PATH once it was loaded or opened, and
/// PATH@OFFSET for a table that a manager loaded. A key in the operations below picks the lines
/// that are equal to it or begin with it and a blank; the key given last wins.
///
/// The fake fails the test where its caller breaks the interface: a call under configLock, a record
/// that was not zeroed, an object that outlives what it rests on, a cursor asked past the end, an
/// object used by two threads. Settings that are to be read under configLock hold other values
/// while nobody holds it.
///
/// Any thread may call it, but what is stored and scripted is settled before threads start.
class Script {
  public:
    using Hook = std::function<void()>;

    Script();
    ~Script();
    Script(const Script&) = delete;
    Script& operator=(const Script&) = delete;

    /// The script made last; ends the process when there is none.
    static Script& Current();

    /// What is stored, by path. A path that is not here is missing (error number 2).
    std::map<std::string, test_support::StoredHeader> headers;
    std::map<std::string, test_support::StoredExtentFile> extentFiles;
    std::map<std::string, test_support::StoredTables> tableDirectories;
    std::set<std::string> klfsPaths;
    std::string fstabPath = "/fake/fstab";
    std::vector<std::string> volumes;
    std::string metaDir = "/fake/meta";
    /// By share identifier; "0" for others.
    std::map<std::string, std::string> shareDirs;
    /// Makes CreateMappingTable return null.
    bool noTable = false;
    /// Makes tables hand out empty handles for their end.
    bool nullEnd = false;
    /// Makes tables without extents hand out empty handles for their begin.
    bool nullBegin = false;

    void UseFileExtMap(std::int32_t value);
    void DcidBloomEnabled(bool value);
    void TableSpanGiB(std::uint32_t value);
    /// The n-th hold of configLock shows the n-th value, later ones the last. Not for threads.
    void TableSpanGiBPerHold(std::vector<std::uint32_t> values);
    void KlfsAware(bool value);

    /// Runs `hook` inside every call of the key, after its record; what it throws the call throws.
    void On(const std::string& key, Hook hook);

    template <typename E>
    void Throw(const std::string& key, E exception) {
        On(key, [exception = std::move(exception)] { throw exception; });
    }
    /// Throws SysException(code, a stack trace, message).
    void ThrowSys(const std::string& key, std::int32_t code, const std::string& message = "failed");

    /// The n-th call of the key returns the n-th result, later ones the last. For operations that
    /// return a number.
    void Result(const std::string& key, std::vector<std::int64_t> results);

    /// Fails the test on a call of the key.
    void Forbid(const std::string& key);

    /// The record so far: all lines, the lines of some keys, all but those.
    [[nodiscard]] std::vector<std::string> Calls() const;
    [[nodiscard]] std::vector<std::string> Calls(
        std::initializer_list<std::string_view> keys) const;
    [[nodiscard]] std::vector<std::string> CallsBut(
        std::initializer_list<std::string_view> keys) const;
    /// The threads that made the calls of a key, in the order of the calls.
    [[nodiscard]] std::vector<std::thread::id> Threads(std::string_view key) const;

    /// Objects of one class alive now: "HeaderFile", "ExtentFile", "CMappingTable",
    /// "MappingCursor", "FileExtMapMgr", "BloomFilter".
    [[nodiscard]] int Alive(const std::string& kind) const;
    /// Fails the test unless no object is alive and no lock is held.
    void ExpectNothingLeft() const;

    /// The record given to KovfsMountV1, as it was then, and the text that its name pointed to.
    std::optional<KovfsMountRecord> mountRecord;
    std::string mountName;
    /// Where that record lies; stays after the call.
    const void* mountAddress = nullptr;

    // For the fake's own sources.

    /// Writes the line, then runs the hooks of its keys. Returns the scripted result, if any.
    std::optional<std::int64_t> Enter(const std::string& line);
    /// Writes the line; for destructors and locks, which run no hooks.
    void Note(const std::string& line);
    void Born(const std::string& kind);
    void Died(const std::string& kind);
    void SharedHold(int change);
    /// Whether this thread holds configLock shared.
    static bool HoldsShared();

  private:
    struct Call {
        std::string line;
        std::thread::id thread;
    };
    struct Rule {
        std::string key;
        /// Shared, so that what a hook counts is counted over all calls.
        std::shared_ptr<Hook> hook;
        std::vector<std::int64_t> results;
        std::size_t used = 0;
    };

    void ShowGuardedSettings();
    void HideGuardedSettings();

    Script* const before_;
    mutable std::mutex mutex_;
    std::vector<Call> calls_;
    std::vector<Rule> rules_;
    std::map<std::string, int> alive_;
    int sharedHolds_ = 0;
    std::size_t holdsSeen_ = 0;
    bool dcidBloomEnabled_ = false;
    std::vector<std::uint32_t> spans_ = {1};
};

/// Counts one object of the fake from construction to destruction, which must be one thread's.
class LiveObject {
  public:
    explicit LiveObject(std::string kind);
    ~LiveObject();
    LiveObject(const LiveObject&) = delete;
    LiveObject& operator=(const LiveObject&) = delete;

  private:
    std::string kind_;
    std::thread::id thread_ = std::this_thread::get_id();
};

/// True when `line` is `key` or begins with it and a blank.
bool LineHasKey(std::string_view line, std::string_view key);

}  // namespace storage_fake
