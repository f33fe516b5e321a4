#include "jorvshare/make/recipe_extents.h"

#include <algorithm>

#include "refstore/extent/sampled_checksum.h"
#include "refstore/fingerprint.h"

namespace jorvshare {

namespace {

std::uint64_t UnsignedOr(const JsonNode& object, const std::string& key, std::uint64_t otherwise) {
    const auto member = object.Find(key);
    return member.has_value() ? member->Unsigned() : otherwise;
}

// What the storage unit holds at the extent's data offset, cut where the unit ends.
std::span<const std::byte> LocalData(const refstore::Extent& extent,
                                     std::span<const std::byte> unit) {
    const auto offset = static_cast<std::uint64_t>(extent.dataOffset);
    if (extent.dataOffset < 0 || offset >= unit.size() || extent.end <= extent.start) {
        return {};
    }
    return unit.subspan(offset, std::min(extent.end - extent.start, unit.size() - offset));
}

refstore::Extent ReadExtent(const JsonNode& node, const ExtentContext& context) {
    node.RequireKeys({"start", "end", "dcid", "so_ref", "cksum", "data_offset", "fp"});
    refstore::Extent extent;
    extent.start = UnsignedOr(node, "start", 0);
    extent.end = UnsignedOr(node, "end", extent.start);
    extent.dcid = UnsignedOr(node, "dcid", 1);
    extent.soRef = UnsignedOr(node, "so_ref", 0);
    const auto dataOffset = node.Find("data_offset");
    extent.dataOffset =
        dataOffset.has_value() ? dataOffset->Signed() : static_cast<std::int64_t>(extent.start);
    const auto cksum = node.Find("cksum");
    const bool given = cksum.has_value() && !(cksum->IsText() && cksum->Text() == "auto");
    extent.cksum = given ? cksum->Unsigned()
                         : refstore::SampledChecksum(LocalData(extent, context.storageUnit));
    if (const auto fp = node.Find("fp"); fp.has_value()) {
        extent.fp = ReadFingerprint(*fp);
    } else {
        const std::string text = context.path + ":" + std::to_string(extent.start);
        extent.fp = refstore::Fingerprint(std::as_bytes(std::span(text)));
    }
    return extent;
}

refstore::TableRecord ReadTable(const JsonNode& node, const ExtentContext& context) {
    node.RequireKeys({"offset", "end", "extents", "dcids", "bloom"});
    refstore::TableRecord table;
    table.offset = UnsignedOr(node, "offset", 0);
    table.end = UnsignedOr(node, "end", table.offset + context.tableSpan);
    if (const auto extents = node.Find("extents"); extents.has_value()) {
        table.extents = ReadExtents(*extents, context);
    }
    if (const auto dcids = node.Find("dcids"); dcids.has_value()) {
        for (const JsonNode& pair : dcids->Elements()) {
            const auto values = pair.Elements(2);
            table.dcids.emplace_back(values[0].Unsigned(), values[1].Unsigned());
        }
    } else {
        for (const refstore::Extent& extent : table.extents) {
            const Corvane::Kst::Marlow::Jorv::DcidEntry entry(extent.dcid, 0);
            if (std::find(table.dcids.begin(), table.dcids.end(), entry) == table.dcids.end()) {
                table.dcids.push_back(entry);
            }
        }
    }
    if (const auto bloom = node.Find("bloom"); bloom.has_value()) {
        for (const JsonNode& fp : bloom->Elements()) {
            table.bloom.push_back(ReadFingerprint(fp));
        }
    } else {
        for (const refstore::Extent& extent : table.extents) {
            table.bloom.push_back(extent.fp);
        }
    }
    return table;
}

}  // namespace

crfp_digest_t ReadFingerprint(const JsonNode& node) {
    const std::vector<std::byte> bytes = node.HexBytes();
    crfp_digest_t fp = {};
    if (bytes.size() != fp.bytes.size()) {
        node.Fail("must be 64 hexadecimal digits");
    }
    std::transform(bytes.begin(), bytes.end(), fp.bytes.begin(),
                   [](std::byte byte) { return std::to_integer<std::uint8_t>(byte); });
    return fp;
}

std::vector<refstore::Extent> ReadExtents(const JsonNode& list, const ExtentContext& context) {
    std::vector<refstore::Extent> extents;
    for (const JsonNode& node : list.Elements()) {
        extents.push_back(ReadExtent(node, context));
    }
    return extents;
}

std::vector<refstore::TableRecord> ReadTables(const JsonNode& list, const ExtentContext& context) {
    std::vector<refstore::TableRecord> tables;
    for (const JsonNode& node : list.Elements()) {
        refstore::TableRecord table = ReadTable(node, context);
        // Tables of one offset are built as told, in the recipe's order.
        const auto behind = std::upper_bound(
            tables.begin(), tables.end(), table.offset,
            [](std::uint64_t left, const auto& right) { return left < right.offset; });
        tables.insert(behind, std::move(table));
    }
    return tables;
}

}  // namespace jorvshare
