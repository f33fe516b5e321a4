// The records and classes of the file data check: the types of their members, and their state as a
// derived class reaches it. A type that changes does not compile.

#include <gtest/gtest.h>

#include <concepts>
#include <type_traits>

#include "jorvck/file_check_manager.h"
#include "jorvck/file_checker.h"

namespace {

using Corvane::Kst::Marlow::Jorv::FileExtMapMgr;
using Corvane::Kst::Marlow::JorvCk::FileChecker;
using Corvane::Kst::Marlow::JorvCk::FileCheckManager;
using Corvane::Kst::Marlow::JorvCk::FileInfo;
using Text = const std::string&;

template <typename One, typename Other>
constexpr bool kSame = std::is_same_v<One, Other>;

static_assert(kSame<decltype(FileInfo::size), std::int64_t>);
static_assert(kSame<decltype(FileInfo::mtim), std::int64_t>);
static_assert(kSame<decltype(FileInfo::fg), std::uint64_t>);
static_assert(kSame<decltype(FileInfo::ext), std::string>);
static_assert(kSame<decltype(FileInfo::path), std::string>);
static_assert(kSame<decltype(FileInfo::extl), bool>);
static_assert(kSame<decltype(FileInfo::ec), std::int32_t>);
static_assert(std::has_virtual_destructor_v<FileChecker>);
static_assert(std::has_virtual_destructor_v<FileCheckManager>);

class OpenChecker final : public FileChecker {
  public:
    using FileChecker::ageLimitSeconds;
    using FileChecker::extMapMgr;
    using FileChecker::FileChecker;
    using FileChecker::nullCache;
    using FileChecker::shareId;
    using FileChecker::shareMetaDir;
};
static_assert(kSame<decltype(OpenChecker::shareMetaDir), std::string>);
static_assert(kSame<decltype(OpenChecker::shareId), std::string>);
static_assert(kSame<decltype(OpenChecker::ageLimitSeconds), std::int64_t>);
static_assert(kSame<decltype(OpenChecker::nullCache), jorv::NullDataCacheManagement>);
static_assert(requires(OpenChecker & checker, Text text, FileInfo* info,
                       const std::set<std::uint64_t>* dcids) {
    { *checker.extMapMgr } -> std::same_as<FileExtMapMgr&>;
    { checker.GetFileMetaInfo(text, info) } -> std::same_as<int>;
    { checker.PrintFileMeta(info) } -> std::same_as<void>;
    { checker.CheckExtentAndData(text, dcids) } -> std::same_as<int>;
    { checker.GetSharePath(text) } -> std::same_as<std::string>;
});

class OpenManager final : public FileCheckManager {
  public:
    using FileCheckManager::ageLimitSeconds;
    using FileCheckManager::checkedFiles;
    using FileCheckManager::dcidMutex;
    using FileCheckManager::dcids;
    using FileCheckManager::headers;
    using FileCheckManager::queueMutex;
    using FileCheckManager::shareId;
    using FileCheckManager::shareMetaDir;
    using FileCheckManager::totalFiles;
    using FileCheckManager::volumes;
};
static_assert(kSame<decltype(OpenManager::shareMetaDir), std::string>);
static_assert(kSame<decltype(OpenManager::shareId), std::string>);
static_assert(kSame<decltype(OpenManager::volumes), std::set<std::string>>);
static_assert(kSame<decltype(OpenManager::headers), std::set<std::string>>);
static_assert(kSame<decltype(OpenManager::dcids), std::set<std::uint64_t>>);
static_assert(kSame<decltype(OpenManager::dcidMutex), std::mutex>);
static_assert(kSame<decltype(OpenManager::queueMutex), std::mutex>);
static_assert(kSame<decltype(OpenManager::ageLimitSeconds), std::int64_t>);
static_assert(kSame<decltype(OpenManager::totalFiles), std::uint64_t>);
static_assert(kSame<decltype(OpenManager::checkedFiles), std::uint64_t>);
static_assert(requires(OpenManager & manager, Text text) {
    { manager.LoadVolumeList() } -> std::same_as<void>;
    { manager.LoadDataContainers(text) } -> std::same_as<int>;
    { manager.LoadHeaders(text) } -> std::same_as<void>;
    { manager.CheckShare(text, std::int64_t{24}) } -> std::same_as<void>;
    { manager.CheckTask() } -> std::same_as<void>;
});

TEST(ACheckOfAFile, StartsWithoutAFaultAndTakesACode) {
    FileInfo info;
    EXPECT_TRUE(info.size == 0 && info.mtim == 0 && info.fg == 0 && !info.extl && info.ec == 0);
    EXPECT_TRUE(info.ext.empty() && info.path.empty());
    info.ec = 4;
    EXPECT_TRUE(info.ec == 4);
    const OpenChecker checker("/meta/7", "7", 3600);
    EXPECT_EQ(checker.shareMetaDir + ' ' + checker.shareId, "/meta/7 7");
    EXPECT_EQ(checker.ageLimitSeconds, 3600);
    EXPECT_EQ(checker.extMapMgr, nullptr);
}

TEST(ACheckOfAShare, StartsWithEmptyMembers) {
    const OpenManager manager;
    EXPECT_TRUE(manager.shareMetaDir.empty() && manager.shareId.empty());
    EXPECT_TRUE(manager.volumes.empty() && manager.headers.empty() && manager.dcids.empty());
    EXPECT_TRUE(manager.ageLimitSeconds == 0 && manager.totalFiles == 0);
    EXPECT_EQ(manager.checkedFiles, 0U);
}

}  // namespace
