#include "tests/unit/refstore/table_sample.h"

#include <algorithm>
#include <cstring>
#include <numeric>

#include "refstore/table/table_directory.h"
#include "tests/support/temp_dir.h"

namespace table_test {

using refstore::TableDirectoryRecord;
using refstore::TableRecord;

crfp_digest_t Fingerprint(std::uint8_t first) {
    crfp_digest_t fp = {};
    std::iota(fp.bytes.begin(), fp.bytes.end(), first);
    return fp;
}

crfp_digest_t NumberedFingerprint(std::uint64_t number) {
    crfp_digest_t fp = {};
    std::memcpy(fp.bytes.data(), &number, sizeof number);
    return fp;
}

TableDirectoryRecord Example() {
    TableRecord table;
    table.offset = 0;
    table.end = std::uint64_t{1} << 30;
    table.extents = {{.start = 0,
                      .end = 4096,
                      .dcid = 1,
                      .soRef = 0,
                      .cksum = 97,
                      .dataOffset = 0,
                      .fp = Fingerprint(0)},
                     {.start = 4096,
                      .end = 5000,
                      .dcid = 70,
                      .soRef = 5,
                      .cksum = 2056,
                      .dataOffset = 4096,
                      .fp = Fingerprint(32)}};
    table.dcids = {{70, 0}, {1, 9}};
    table.bloom = {Fingerprint(32)};
    return {.fileSize = 5000, .tables = {table}};
}

TableRecord MakeTable(std::uint64_t offset, std::uint64_t end, std::uint64_t count) {
    TableRecord table;
    table.offset = offset;
    table.end = end;
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::uint64_t start = offset + i * 4096;
        const crfp_digest_t fp = NumberedFingerprint(start);
        table.extents.push_back({.start = start,
                                 .end = start + 4096,
                                 .dcid = 64 + i % 200,
                                 .soRef = i,
                                 .cksum = i * 31,
                                 .dataOffset = static_cast<std::int64_t>(i),
                                 .fp = fp});
        table.bloom.push_back(fp);
    }
    for (std::uint64_t dcid = 64; dcid < 64 + std::min<std::uint64_t>(count, 200); ++dcid) {
        table.dcids.emplace_back(dcid, 3 * dcid);
    }
    return table;
}

void Store(const std::string& directory, const TableDirectoryRecord& record) {
    test_support::WriteFile(refstore::TableDirectory::FileIn(directory),
                            refstore::EncodeTables(record));
}

}  // namespace table_test
