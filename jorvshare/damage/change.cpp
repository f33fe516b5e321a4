#include "jorvshare/damage/change.h"

#include <unistd.h>

#include <cerrno>

#include "jorvshare/report/tool_error.h"
#include "jorvshare/report/wording.h"
#include "jorvshare/site/directory.h"
#include "refstore/base/file_writer.h"
#include "refstore/base/regular_file.h"

namespace jorvshare::damage {

namespace {

// Far above any file of a share; memory is the bound that counts.
constexpr std::uint64_t kMaxFile = std::uint64_t{1} << 40;

std::string HexByte(std::byte byte) {
    constexpr const char* digits = "0123456789abcdef";
    const auto value = std::to_integer<unsigned>(byte);
    return {'0', 'x', digits[value >> 4U], digits[value & 15U]};
}

}  // namespace

std::vector<std::byte> ReadBytes(const std::string& path) {
    const refstore::FileBytes bytes = refstore::RegularFile("file", path).ReadAll(kMaxFile);
    return {bytes.Span().begin(), bytes.Span().end()};
}

void FlipByte(const std::string& path, std::uint64_t offset, Report* report) {
    std::vector<std::byte> bytes = ReadBytes(path);
    std::byte& byte = bytes.at(offset);
    const std::byte former = byte;
    byte = ~byte;
    refstore::ReplaceFile(path, bytes);
    report->Changed("flipped all bits of a byte of " + path + ": offset " + std::to_string(offset) +
                    ", " + HexByte(former) + " -> " + HexByte(byte));
}

void CutFile(const std::string& path, std::uint64_t size, Report* report) {
    std::vector<std::byte> bytes = ReadBytes(path);
    const std::size_t former = bytes.size();
    bytes.resize(size);
    refstore::ReplaceFile(path, bytes);
    report->Changed("cut " + path + ": " + std::to_string(former) + " -> " + std::to_string(size) +
                    " bytes");
}

void Rewrite(const std::string& path, std::span<const std::byte> bytes, const std::string& what,
             Report* report) {
    refstore::ReplaceFile(path, bytes);
    report->Changed("rewrote " + path + ": " + what);
}

void Rewrite(const std::string& path, const std::string& text, const std::string& what,
             Report* report) {
    Rewrite(path, std::as_bytes(std::span(text)), what, report);
}

void Remove(const std::string& path, Report* report) {
    const bool directory = KindOf(path) == EntryKind::kDirectory;
    RemoveTree(path);
    if (KindOf(path) != EntryKind::kUnknown) {
        throw ToolError(wording::At(path, "cannot be removed"));
    }
    report->Changed((directory ? "removed the directory " : "removed ") + path);
}

void ReplaceByDirectory(const std::string& path, Report* report) {
    Remove(path, report);
    MakeDirectory(path);
    report->Changed("made an empty directory " + path);
}

void ReplaceByLoop(const std::string& path, Report* report) {
    Remove(path, report);
    const std::string name = path.substr(path.rfind('/') + 1);
    if (::symlink(name.c_str(), path.c_str()) != 0) {
        throw ToolError(wording::Errno(path, errno));
    }
    report->Changed("made a symbolic link " + path + " -> " + name);
}

std::string FieldChange(const std::string& field, const std::string& former,
                        const std::string& now) {
    return field + ": " + former + " -> " + now;
}

}  // namespace jorvshare::damage
