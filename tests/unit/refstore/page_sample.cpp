#include "tests/unit/refstore/page_sample.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "storage/exception.h"
#include "tests/support/temp_dir.h"

namespace page_test {

using Corvane::Kst::Marlow::Jorv::SysException;

namespace {

class Transaction {
  public:
    explicit Transaction(MDB_env* environment) {
        Require(mdb_txn_begin(environment, nullptr, 0, &transaction_));
        Require(mdb_dbi_open(transaction_, nullptr, 0, &database_));
    }
    void Put(std::string key, std::string value) const {
        MDB_val lmdbKey = {key.size(), key.data()};
        MDB_val lmdbValue = {value.size(), value.data()};
        Require(mdb_put(transaction_, database_, &lmdbKey, &lmdbValue, 0));
    }
    void Delete(std::string key) const {
        MDB_val lmdbKey = {key.size(), key.data()};
        Require(mdb_del(transaction_, database_, &lmdbKey, nullptr));
    }
    void Commit() const { Require(mdb_txn_commit(transaction_)); }

  private:
    MDB_txn* transaction_ = nullptr;
    MDB_dbi database_ = 0;
};

std::string Key(int number) {
    return "key" + std::to_string(1000 + number);
}

std::string MakeBytes() {
    const test_support::TempDir directory;
    const std::string file = directory / "data.mdb";
    {
        const Environment environment =
            OpenEnvironment(file, MDB_NOSUBDIR | MDB_NOLOCK | MDB_WRITEMAP, 40 * Sample::kPage);
        const Transaction first(environment.get());
        for (int i = 0; i < 120; ++i) {
            first.Put(Key(i), std::string(70, 'v'));
        }
        first.Put(Key(10), std::string(9000, 'b'));
        first.Put(Key(60), std::string(5000, 'b'));
        first.Commit();
        const Transaction second(environment.get());
        second.Delete(Key(60));
        second.Commit();
    }
    std::string bytes = test_support::ReadFile(file);
    const auto last = refstore::LoadAs<refstore::MetaRecord>(
                          reinterpret_cast<const std::byte*>(bytes.data()) + 16)
                          .lastPage;
    bytes.resize((last + 1) * Sample::kPage);
    return bytes;
}

}  // namespace

Sample::Sample() : bytes(MakeBytes()) {
    // Two transactions: the second is described by meta page 0.
    meta = 16;
    olderMeta = kPage + 16;
    root = Get<std::uint64_t>(meta + kMain + kRoot) * kPage;
    firstLeaf = PageAt(root).NodeAt(0).Child() * kPage;
    secondLeaf = PageAt(root).NodeAt(1).Child() * kPage;
    freeLeaf = Get<std::uint64_t>(meta + kFreeList + kRoot) * kPage;
    for (std::size_t i = 0; i < PageAt(firstLeaf).NodeCount(); ++i) {
        if (PageAt(firstLeaf).NodeAt(i).IsBig()) {
            bigNode = NodeAt(firstLeaf, i);
            run = PageAt(firstLeaf).NodeAt(i).RunPage() * kPage;
        }
    }
    if (run == 0 || PageAt(root).Flags() != refstore::kBranchPage || PageAt(root).NodeCount() < 3 ||
        PageAt(freeLeaf).NodeCount() != 1) {
        throw std::logic_error("the sample is not what its tests need");
    }
}

void ExpectRefused(const std::vector<Case>& cases) {
    const Sample sound;
    ASSERT_EQ(ReadWithPageReader(sound.bytes).size(), 119U);
    for (const Case& one : cases) {
        SCOPED_TRACE(one.situation);
        Sample sample = sound;
        const std::string reason = one.breakRule(sample);
        ASSERT_NE(sample.bytes, sound.bytes);
        try {
            ReadWithPageReader(sample.bytes);
            ADD_FAILURE() << "accepted";
        } catch (const SysException& refused) {
            EXPECT_EQ(refused.GetErrorNumber(), 74);
            EXPECT_EQ(refused.what(), "mapping table /x/data.mdb: " + reason + " (errno 74)");
        }
    }
}

}  // namespace page_test
