#include "jorvshare/damage/change.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "refstore/base/regular_file.h"
#include "refstore/container/container_writer.h"
#include "terminal/one_line.h"

namespace jorvshare::damage {

namespace {

// Far above any file of a share; memory is the bound that counts.
constexpr std::uint64_t kMaxFile = std::uint64_t{1} << 40;
constexpr const char* kAside = "damage.partial";

std::string NameOf(const Target& target) {
    return target.root.At(target.path);
}

std::vector<std::byte> ReadBytes(const Target& target) {
    const std::string path = NameOf(target);
    const refstore::FileBytes bytes = refstore::RegularFile("file", path).ReadAll(kMaxFile);
    return {bytes.Span().begin(), bytes.Span().end()};
}

// A whole new file, with the owner and the mode of the old one.
void Put(const Target& target, std::span<const std::byte> bytes) {
    const Root& root = target.root;
    struct stat former = {};
    root.Require(::fstat(root.Open(target.path, O_PATH).Get(), &former) == 0, target.path);
    root.Remove(kAside);
    try {
        refstore::Descriptor file = root.Create(kAside, 0600);
        // The owner before the mode: a new owner takes some bits of the mode away.
        root.Require(refstore::WriteAllAt(file, 0, bytes) &&
                         ::fchown(file.Get(), former.st_uid, former.st_gid) == 0 &&
                         ::fchmod(file.Get(), former.st_mode & 07777U) == 0 &&
                         ::fsync(file.Get()) == 0 && file.Close(),
                     kAside);
        root.Rename(kAside, target.path, true);
    } catch (...) {
        root.Remove(kAside);
        throw;
    }
    root.Sync(refstore::ParentOf(target.path));
}

void CutTo(const Target& target, std::vector<std::byte> bytes, std::uint64_t size, Notes* notes) {
    const std::size_t former = bytes.size();
    bytes.resize(size);
    Put(target, bytes);
    notes->push_back("cut " + NameOf(target) + ": " + std::to_string(former) + " -> " +
                     std::to_string(size) + " bytes");
}

}  // namespace

void FlipAt(const Target& target, std::uint64_t offset, Notes* notes) {
    std::vector<std::byte> bytes = ReadBytes(target);
    const auto hex = [&] {
        return "0x" + terminal::Hex(std::span<const std::byte>(bytes).subspan(offset, 1));
    };
    const std::string former = hex();
    bytes.at(offset) = ~bytes.at(offset);
    Put(target, bytes);
    notes->push_back("flipped all bits of a byte of " + NameOf(target) + ": offset " +
                     std::to_string(offset) + ", " + former + " -> " + hex());
}

void Flip(const Scene& scene, const Target& target, Notes* notes) {
    FlipAt(target, scene.Choose(ReadBytes(target).size()), notes);
}

void Cut(const Scene& scene, const Target& target, Notes* notes) {
    std::vector<std::byte> bytes = ReadBytes(target);
    const std::uint64_t size = scene.Choose(bytes.size());
    CutTo(target, std::move(bytes), size, notes);
}

void Empty(const Scene& /*scene*/, const Target& target, Notes* notes) {
    CutTo(target, ReadBytes(target), 0, notes);
}

void Rewrite(const Target& target, std::span<const std::byte> bytes, const std::string& what,
             Notes* notes) {
    Put(target, bytes);
    notes->push_back("rewrote " + NameOf(target) + ": " + what);
}

void PutForeign(const Scene& /*scene*/, const Target& target, Notes* notes) {
    Rewrite(target, refstore::EncodeContainerIndex({}), "a sound container index", notes);
}

void Remove(const Scene& scene, const Target& target, Notes* notes) {
    const Root& root = target.root;
    const mode_t type = root.TypeOf(target.path);
    if (type == 0) {
        scene.FailNothing();
    }
    root.Remove(kAside);
    // Out of its place in one step, and then to pieces.
    root.Rename(target.path, kAside);
    root.Remove(kAside);
    root.Sync(refstore::ParentOf(target.path));
    notes->push_back((type == S_IFDIR ? "removed the directory " : "removed ") + NameOf(target));
}

void PutDirectory(const Scene& scene, const Target& target, Notes* notes) {
    Remove(scene, target, notes);
    target.root.MakeDirectory(target.path, 0755);
    notes->push_back("made an empty directory " + NameOf(target));
}

void PutLoop(const Scene& scene, const Target& target, Notes* notes) {
    Remove(scene, target, notes);
    const std::string name = target.path.substr(target.path.rfind('/') + 1);
    const refstore::Descriptor parent =
        target.root.Open(refstore::ParentOf(target.path), O_PATH | O_DIRECTORY);
    target.root.Require(::symlinkat(name.c_str(), parent.Get(), name.c_str()) == 0, target.path);
    notes->push_back("made a symbolic link " + NameOf(target) + " -> " + name);
}

}  // namespace jorvshare::damage
