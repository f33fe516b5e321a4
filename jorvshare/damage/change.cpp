#include "jorvshare/damage/change.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "jorvshare/report/wording.h"
#include "jorvshare/site/directory.h"
#include "jorvshare/site/output_file.h"
#include "jorvshare/site/staging.h"
#include "jorvshare/site/undo.h"
#include "refstore/base/file_writer.h"
#include "refstore/base/regular_file.h"
#include "terminal/interrupt.h"
#include "terminal/tool_error.h"

namespace jorvshare::damage {

namespace {

// Far above any file of a share; memory is the bound that counts.
constexpr std::uint64_t kMaxFile = std::uint64_t{1} << 40;

std::string HexByte(std::byte byte) {
    constexpr const char* digits = "0123456789abcdef";
    const auto value = std::to_integer<unsigned>(byte);
    return {'0', 'x', digits[value >> 4U], digits[value & 15U]};
}

void Require(bool done, const std::string& path) {
    if (!done) {
        throw terminal::ToolError(wording::Errno(path, errno));
    }
}

// A whole new file for `path`, with the owner and the mode of the old one.
void Put(const Scene& scene, const std::string& path, std::span<const std::byte> bytes) {
    struct stat former = {};
    Require(::stat(path.c_str(), &former) == 0, path);
    const std::string staged = StagingPlace(scene.Site().Root(), path);
    terminal::FinishRegardless();
    Undo undo;
    undo.RemoveTree(staged);
    OutputFile file(staged);
    file.WriteAt(0, bytes);
    // In this order: a new owner takes some bits of the mode away.
    file.SetOwner(former.st_uid, former.st_gid);
    file.SetMode(former.st_mode & 07777U);
    file.Sync();
    file.Close();
    Require(::rename(staged.c_str(), path.c_str()) == 0, path);
    undo.Keep();
    refstore::SyncFileSystem(ParentOf(path));
}

// Takes what is at `path` out of its place in one step, and then to pieces.
void TakeAway(const Scene& scene, const std::string& path) {
    const std::string aside = StagingPlace(scene.Site().Root(), path);
    terminal::FinishRegardless();
    Require(::rename(path.c_str(), aside.c_str()) == 0, path);
    if (const int code = RemoveTree(aside); code != 0) {
        throw terminal::ToolError(wording::Errno(aside, code));
    }
    refstore::SyncFileSystem(ParentOf(path));
}

}  // namespace

std::vector<std::byte> ReadBytes(const std::string& path) {
    const refstore::FileBytes bytes = refstore::RegularFile("file", path).ReadAll(kMaxFile);
    return {bytes.Span().begin(), bytes.Span().end()};
}

void FlipByte(const Scene& scene, const std::string& path, std::uint64_t offset, Report* report) {
    std::vector<std::byte> bytes = ReadBytes(path);
    std::byte& byte = bytes.at(offset);
    const std::byte former = byte;
    byte = ~byte;
    Put(scene, path, bytes);
    report->Changed("flipped all bits of a byte of " + path + ": offset " + std::to_string(offset) +
                    ", " + HexByte(former) + " -> " + HexByte(byte));
}

void CutFile(const Scene& scene, const std::string& path, std::uint64_t size, Report* report) {
    std::vector<std::byte> bytes = ReadBytes(path);
    const std::size_t former = bytes.size();
    bytes.resize(size);
    Put(scene, path, bytes);
    report->Changed("cut " + path + ": " + std::to_string(former) + " -> " + std::to_string(size) +
                    " bytes");
}

void Rewrite(const Scene& scene, const std::string& path, std::span<const std::byte> bytes,
             const std::string& what, Report* report) {
    Put(scene, path, bytes);
    report->Changed("rewrote " + path + ": " + what);
}

void Rewrite(const Scene& scene, const std::string& path, const std::string& text,
             const std::string& what, Report* report) {
    Rewrite(scene, path, std::as_bytes(std::span(text)), what, report);
}

void Remove(const Scene& scene, const std::string& path, Report* report) {
    const EntryKind kind = KindOf(path);
    if (kind == EntryKind::kUnknown) {
        scene.FailNothing();
    }
    TakeAway(scene, path);
    report->Changed((kind == EntryKind::kDirectory ? "removed the directory " : "removed ") + path);
}

void ReplaceByDirectory(const Scene& scene, const std::string& path, Report* report) {
    Remove(scene, path, report);
    MakeDirectory(path);
    report->Changed("made an empty directory " + path);
}

void ReplaceByLoop(const Scene& scene, const std::string& path, Report* report) {
    Remove(scene, path, report);
    const std::string name = path.substr(path.rfind('/') + 1);
    Require(::symlink(name.c_str(), path.c_str()) == 0, path);
    report->Changed("made a symbolic link " + path + " -> " + name);
}

std::string FieldChange(const std::string& field, const std::string& former,
                        const std::string& now) {
    return field + ": " + former + " -> " + now;
}

}  // namespace jorvshare::damage
