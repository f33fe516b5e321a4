#include "jorvshare/damage/table_record.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "jorvshare/damage/change.h"
#include "jorvshare/report/wording.h"
#include "jorvshare/site/directory.h"
#include "refstore/table/table_environment.h"
#include "refstore/table/table_writer.h"
#include "storage/exception.h"
#include "terminal/tool_error.h"

namespace jorvshare::damage {

namespace {

class TemporaryDirectory {
  public:
    TemporaryDirectory()
        : path_((std::filesystem::temp_directory_path() / "jorvshare-XXXXXX").string()) {
        if (::mkdtemp(path_.data()) == nullptr) {
            throw terminal::ToolError(wording::Errno(path_, errno));
        }
    }
    ~TemporaryDirectory() { RemoveTree(path_); }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    [[nodiscard]] const std::string& Path() const { return path_; }

  private:
    std::string path_;
};

}  // namespace

std::optional<refstore::TableDirectoryRecord> LoadTables(const Scene& scene,
                                                         const std::string& relative) {
    try {
        const auto tables = refstore::TableEnvironment::Load(scene.Share().Map(relative));
        refstore::TableDirectoryRecord record;
        record.fileSize = tables->FileSize();
        for (std::size_t i = 0; i < tables->Tables().size(); ++i) {
            refstore::TableRecord table;
            table.offset = tables->Tables()[i].offset;
            table.end = tables->Tables()[i].end;
            table.dcids = tables->Dcids(i);
            for (auto walk = tables->Extents(i); walk.Left() != 0; walk.Next()) {
                refstore::Extent extent;
                std::memcpy(&extent, walk.Bytes(), sizeof extent);
                table.bloom.push_back(extent.fp);
                table.extents.push_back(extent);
            }
            record.tables.push_back(std::move(table));
        }
        return record;
    } catch (const Corvane::Kst::Marlow::Jorv::SysException&) {
        return std::nullopt;
    }
}

std::vector<std::byte> EncodeTables(const refstore::TableDirectoryRecord& record) {
    const TemporaryDirectory directory;
    refstore::WriteTableDirectory(directory.Path(), record);
    return ReadBytes(directory.Path() + "/data.mdb");
}

std::string DigitsOf(const crfp_digest_t& fp) {
    constexpr int hexadecimal = 3;
    std::array<char, 2 * sizeof(crfp_digest_t) + 1> text{};
    CRFPDigestToString_r(&fp, hexadecimal, text.data(), text.size());
    return text.data();
}

}  // namespace jorvshare::damage
