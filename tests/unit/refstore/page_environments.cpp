#include "tests/unit/refstore/page_environments.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <stdexcept>

#include "tests/support/temp_dir.h"

namespace page_test {

namespace {

constexpr std::size_t kPage = 4096;

class Random {
  public:
    explicit Random(std::uint32_t seed) : engine_(seed) {}
    std::size_t Below(std::size_t count) { return engine_() % count; }
    bool OneIn(std::size_t count) { return Below(count) == 0; }

    std::string Text(std::size_t size) {
        // Random where it differs from its neighbours in the page: at both ends.
        std::string text(size, static_cast<char>(Below(256)));
        for (std::size_t i = 0; i < std::min<std::size_t>(size, 16); ++i) {
            text[i] = static_cast<char>(Below(256));
            text[size - 1 - i] = static_cast<char>(Below(256));
        }
        return text;
    }

  private:
    std::mt19937 engine_;
};

// Makes transactions over one environment.
class Scribe {
  public:
    Scribe(MDB_env* environment, Random& random, bool small)
        : environment_(environment), random_(random), small_(small) {
        keyStyle_ = random_.Below(4);
    }

    void Transaction() {
        MDB_txn* transaction = nullptr;
        Require(mdb_txn_begin(environment_, nullptr, 0, &transaction));
        Require(mdb_dbi_open(transaction, nullptr, 0, &database_));
        Fill(transaction, nestable_ ? 2 : 0);
        if (random_.OneIn(4)) {
            PutAndTakeBack(transaction);
        }
        if (random_.OneIn(6)) {
            mdb_txn_abort(transaction);
        } else {
            Require(mdb_txn_commit(transaction));
        }
    }

    // Nested transactions are not possible in a written map.
    void AllowNested(bool allowed) { nestable_ = allowed; }

  private:
    std::string Key() {
        const std::size_t number = random_.Below(small_ ? 40 : 3000);
        std::string key = std::to_string(number);
        switch (keyStyle_) {
            case 0:
                break;
            case 1:
                key.insert(0, 8 - key.size(), '0');
                break;
            case 2:
                key.append(std::string(number % (refstore::kMaxKey - 8), 'k'));
                break;
            default:
                key.insert(0, number * 7919 % 500, static_cast<char>('a' + number % 20));
        }
        return key;
    }

    std::string Value() {
        switch (random_.Below(small_ ? 4 : 12)) {
            case 0:
                return {};
            case 1:
                return random_.Text(random_.Below(small_ ? 5000 : 40000));
            case 2:
                return random_.Text(1900 + random_.Below(300));
            case 3:
                return random_.Text(4000 + random_.Below(200));
            default:
                return random_.Text(random_.Below(200));
        }
    }

    void Fill(MDB_txn* transaction, int depth) {
        const std::size_t operations = random_.Below(small_ ? 12 : 150);
        const bool mostlyDeletes = random_.OneIn(3);
        for (std::size_t i = 0; i < operations; ++i) {
            Operation(transaction, mostlyDeletes);
            if (depth > 0 && random_.OneIn(20)) {
                Nested(transaction, depth - 1);
            }
        }
        if (random_.OneIn(25)) {
            Require(mdb_drop(transaction, database_, 0));
        }
    }

    // Pages that are given back before they were ever written may lie behind the end of the file.
    void PutAndTakeBack(MDB_txn* transaction) {
        std::string key = "taken back";
        std::string value = random_.Text(20000 + random_.Below(20000));
        MDB_val lmdbKey = {key.size(), key.data()};
        MDB_val lmdbValue = {value.size(), value.data()};
        Require(mdb_put(transaction, database_, &lmdbKey, &lmdbValue, 0));
        Require(mdb_del(transaction, database_, &lmdbKey, nullptr));
    }

    void Operation(MDB_txn* transaction, bool mostlyDeletes) {
        std::string key = Key();
        MDB_val lmdbKey = {key.size(), key.data()};
        if (mostlyDeletes ? !random_.OneIn(4) : random_.OneIn(4)) {
            const int code = mdb_del(transaction, database_, &lmdbKey, nullptr);
            if (code != MDB_NOTFOUND) {
                Require(code);
            }
            return;
        }
        std::string value = Value();
        MDB_val lmdbValue = {value.size(), value.data()};
        Require(mdb_put(transaction, database_, &lmdbKey, &lmdbValue, 0));
    }

    void Nested(MDB_txn* parent, int depth) {
        MDB_txn* child = nullptr;
        Require(mdb_txn_begin(environment_, parent, 0, &child));
        Fill(child, depth);
        if (random_.OneIn(2)) {
            mdb_txn_abort(child);
        } else {
            Require(mdb_txn_commit(child));
        }
    }

    MDB_env* environment_;
    Random& random_;
    bool small_;
    bool nestable_ = false;
    std::size_t keyStyle_ = 0;
    MDB_dbi database_ = 0;
};

std::string TextOf(const MDB_val& value) {
    return {static_cast<const char*>(value.mv_data), value.mv_size};
}

std::string TextOf(std::span<const std::byte> bytes) {
    std::string text(bytes.size(), '\0');
    if (!bytes.empty()) {
        std::memcpy(text.data(), bytes.data(), bytes.size());
    }
    return text;
}

}  // namespace

void Require(int code) {
    if (code != 0) {
        throw std::runtime_error(mdb_strerror(code));
    }
}

Environment OpenEnvironment(const std::string& path, unsigned flags, std::size_t mapSize) {
    MDB_env* made = nullptr;
    Require(mdb_env_create(&made));
    Environment environment(made);
    if (mapSize != 0) {
        Require(mdb_env_set_mapsize(made, mapSize));
    }
    Require(mdb_env_open(made, path.c_str(), flags | MDB_NOSYNC, 0644));
    return environment;
}

Records ReadWithLmdb(const std::string& path, unsigned flags) {
    const Environment environment = OpenEnvironment(path, flags | MDB_RDONLY | MDB_NOLOCK, 0);
    MDB_txn* transaction = nullptr;
    Require(mdb_txn_begin(environment.get(), nullptr, MDB_RDONLY, &transaction));
    MDB_dbi database = 0;
    Require(mdb_dbi_open(transaction, nullptr, 0, &database));
    MDB_cursor* cursor = nullptr;
    Require(mdb_cursor_open(transaction, database, &cursor));
    Records records;
    MDB_val key = {};
    MDB_val value = {};
    while (mdb_cursor_get(cursor, &key, &value, MDB_NEXT) == 0) {
        records.emplace_back(TextOf(key), TextOf(value));
    }
    mdb_cursor_close(cursor);
    mdb_txn_abort(transaction);
    return records;
}

Records RecordsOf(const refstore::PageReader& reader) {
    Records records;
    for (refstore::RecordWalk walk(reader); !walk.AtEnd(); walk.Next()) {
        records.emplace_back(TextOf(walk.Current().Key()), TextOf(reader.ValueOf(walk.Current())));
    }
    return records;
}

Records ReadWithPageReader(const std::string& bytes) {
    const std::vector<std::byte> exact = test_support::Bytes(bytes);
    const std::string path = "/x/data.mdb";
    return RecordsOf(refstore::PageReader(exact, path));
}

RandomEnvironment MakeRandomEnvironment(std::uint32_t seed, bool small) {
    Random random(seed);
    const test_support::TempDir directory;
    RandomEnvironment made;
    const bool asFile = random.OneIn(2);
    const bool writeMap = random.OneIn(3);
    const std::size_t mapSize = (small ? 512 : 65536 + random.Below(1000)) * kPage;
    std::string file = directory / "data.mdb";
    {
        const unsigned flags = (asFile ? MDB_NOSUBDIR : 0U) | (writeMap ? MDB_WRITEMAP : 0U);
        const Environment environment =
            OpenEnvironment(asFile ? file : directory.Path(), flags | MDB_NOTLS, mapSize);
        Scribe scribe(environment.get(), random, small);
        scribe.AllowNested(!writeMap);
        MDB_txn* reader = nullptr;
        for (std::size_t left = random.Below(small ? 6 : 25); left > 0; --left) {
            scribe.Transaction();
            if (reader == nullptr && random.OneIn(5)) {
                Require(mdb_txn_begin(environment.get(), nullptr, MDB_RDONLY, &reader));
            } else if (reader != nullptr && random.OneIn(4)) {
                mdb_txn_abort(std::exchange(reader, nullptr));
            }
        }
        if (reader != nullptr) {
            mdb_txn_abort(reader);
        }
        const std::size_t how = random.Below(3);
        if (how > 0) {
            const std::string copy = directory / "copy";
            test_support::MakeDirs(copy);
            Require(mdb_env_copy2(environment.get(),
                                  asFile ? (copy + "/data.mdb").c_str() : copy.c_str(),
                                  how == 1 ? 0 : MDB_CP_COMPACT));
            file = copy + "/data.mdb";
        }
        made.what = std::string(asFile ? "file" : "directory") + (writeMap ? ", written map" : "") +
                    (how == 0   ? ""
                     : how == 1 ? ", plain copy"
                                : ", compacting copy");
    }
    made.bytes = test_support::ReadFile(file);
    made.records = ReadWithLmdb(file, MDB_NOSUBDIR);
    return made;
}

}  // namespace page_test
