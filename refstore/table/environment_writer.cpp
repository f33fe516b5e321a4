#include "refstore/table/environment_writer.h"

#include <lmdb.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "refstore/base/errors.h"
#include "refstore/table/page_format.h"
#include "refstore/table/page_image.h"

namespace refstore {

namespace {

// LMDB makes its pages as large as the machine's, up to its own limit.
std::size_t PageSize() {
    constexpr std::size_t kLargest = 32768;
    return std::min(static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)), kLargest);
}

std::size_t PagesFor(std::size_t bytes) {
    return bytes / PageSize() + 1;
}

// Values above about half a page are moved to pages of their own.
bool IsOverflow(std::size_t nodeSize) {
    return nodeSize > PageSize() / 2 - 64;
}

void RemoveEnvironment(MDB_env* environment) {
    mdb_env_close(environment);
}
void RemoveTransaction(MDB_txn* transaction) {
    mdb_txn_abort(transaction);
}

class MemoryFile {
  public:
    explicit MemoryFile(const std::string& path) : fd_(::memfd_create("data.mdb", MFD_CLOEXEC)) {
        if (fd_ < 0) {
            ThrowErrno(errno, kMappingTableName, path);
        }
    }
    ~MemoryFile() { ::close(fd_); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    [[nodiscard]] std::string Path() const { return "/proc/self/fd/" + std::to_string(fd_); }
    [[nodiscard]] int Descriptor() const { return fd_; }

  private:
    int fd_;
};

}  // namespace

void EnvironmentRoom::Add(std::size_t keySize, std::size_t valueSize) {
    const std::size_t node = kNodeHead + keySize + valueSize;
    if (IsOverflow(node)) {
        overflowPages_ += PagesFor(kPageHead + valueSize);
        leafBytes_ += kNodeHead + keySize + sizeof(std::uint64_t);
    } else {
        leafBytes_ += node;
    }
    leafBytes_ += 3;  // padding, and the page's pointer to the entry
}

std::size_t EnvironmentRoom::MapSize() const {
    // Pages are left when the next entry does not fit, and so more than half full; a branch page
    // that was split refers to some 100 pages.
    const std::size_t leaves = 2 * PagesFor(leafBytes_);
    const std::size_t pages = kMetaPages + overflowPages_ + leaves + leaves / 50 + 16;
    return pages * PageSize();
}

struct EnvironmentWriter::Impl {
    explicit Impl(const std::string& forPath) : path(forPath), file(forPath) {}

    // LMDB's own codes are negative; the others are errno values.
    void Require(int code) const {
        if (code == 0) {
            return;
        }
        const int number = code == MDB_MAP_FULL ? ENOSPC : code > 0 ? code : EIO;
        ThrowError(number, kMappingTableName, path, mdb_strerror(code));
    }

    const std::string& path;
    MemoryFile file;
    // The transaction goes first.
    std::unique_ptr<MDB_env, void (*)(MDB_env*)> environment{nullptr, RemoveEnvironment};
    std::unique_ptr<MDB_txn, void (*)(MDB_txn*)> transaction{nullptr, RemoveTransaction};
    MDB_dbi database = 0;
};

EnvironmentWriter::EnvironmentWriter(const EnvironmentRoom& room, const std::string& path)
    : impl_(std::make_unique<Impl>(path)) {
    MDB_env* environment = nullptr;
    impl_->Require(mdb_env_create(&environment));
    impl_->environment.reset(environment);
    impl_->Require(mdb_env_set_mapsize(environment, room.MapSize()));
    // A written map begins as zeros, so that no byte of the file depends on what LMDB's memory held
    // before, whichever of its pages LMDB initialises itself.
    constexpr unsigned kFlags = MDB_NOSUBDIR | MDB_NOLOCK | MDB_NOSYNC | MDB_WRITEMAP;
    impl_->Require(mdb_env_open(environment, impl_->file.Path().c_str(), kFlags, 0600));
    MDB_txn* transaction = nullptr;
    impl_->Require(mdb_txn_begin(environment, nullptr, 0, &transaction));
    impl_->transaction.reset(transaction);
    impl_->Require(mdb_dbi_open(transaction, nullptr, 0, &impl_->database));
}

EnvironmentWriter::~EnvironmentWriter() = default;

void EnvironmentWriter::Append(std::span<const std::byte> key, std::span<const std::byte> value) {
    // LMDB only reads what it is given here.
    MDB_val lmdbKey = {key.size(), const_cast<std::byte*>(key.data())};
    MDB_val lmdbValue = {value.size(), const_cast<std::byte*>(value.data())};
    impl_->Require(
        mdb_put(impl_->transaction.get(), impl_->database, &lmdbKey, &lmdbValue, MDB_APPEND));
}

std::vector<std::byte> EnvironmentWriter::Finish(std::size_t behind) {
    impl_->Require(mdb_txn_commit(impl_->transaction.release()));
    MDB_envinfo info = {};
    impl_->Require(mdb_env_info(impl_->environment.get(), &info));
    const std::size_t size = (info.me_last_pgno + 1) * PageSize();
    std::vector<std::byte> bytes(size + behind);
    for (std::size_t done = 0; done < size;) {
        const ssize_t got = ::pread(impl_->file.Descriptor(), bytes.data() + done, size - done,
                                    static_cast<off_t>(done));
        if (got <= 0) {
            ThrowErrno(got < 0 ? errno : EIO, kMappingTableName, impl_->path);
        }
        done += static_cast<std::size_t>(got);
    }
    return bytes;
}

}  // namespace refstore
