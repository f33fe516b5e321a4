#include "jorvshare/report/wording.h"

namespace jorvshare::wording {

namespace {

std::string Number(std::uint64_t value, std::string_view one, std::string_view many) {
    return std::to_string(value) + " " + std::string(value == 1 ? one : many);
}

}  // namespace

std::string At(const std::string& path, std::string_view why) {
    return path + ": " + std::string(why);
}

std::string BadShareId(const std::string& id, std::string_view why) {
    return "share id \"" + id + "\": " + std::string(why);
}

std::string BadVirtualCopy(const std::string& text) {
    return "--vcopy \"" + text +
           "\": not POLICY:TIME:NAME, three names that may stand in a path, without line ends, and "
           "no \";\" in NAME, which may not be \".*.partial\" either";
}

std::string NotEmpty(const std::string& path) {
    return path + ": is there already and is not an empty directory";
}

std::string LeftOver(const std::string& path) {
    return path + ": is there already, perhaps left by a run that was killed; remove it first";
}

std::string NotASite(const std::string& path) {
    return path + ": not a site: it holds other things and no jorv.toml";
}

std::string SiteInUse(const std::string& path) {
    return path + ": another run is at work in this site";
}

std::string BadFstab(const std::string& path) {
    return path + ": cannot be read as the table of volumes";
}

std::string MissingVolume(const std::string& volume) {
    return volume + ": listed in the table of volumes and not there; is it mounted?";
}

std::string Elsewhere(std::string_view what, const std::string& path,
                      const std::string& directory) {
    return "the " + std::string(what) + " " + path + " is not inside " + directory +
           "; a site that reaches elsewhere, as a copied one does, is not changed";
}

std::string IsSymlink(const std::string& path) {
    return path + ": a symbolic link; a site that reaches elsewhere is not changed";
}

std::string OtherLayout(const std::string& site, std::string_view has, std::string_view wanted) {
    return site + ": the site's layout is " + std::string(has) + ", not " + std::string(wanted);
}

std::string OtherSpan(const std::string& site, std::uint64_t has, std::uint64_t wanted) {
    return site + ": the site's tables span " + std::to_string(has) + " GiB, not " +
           std::to_string(wanted);
}

std::string Inside(std::string_view what, const std::string& path, std::string_view other,
                   const std::string& otherPath) {
    return "the " + std::string(what) + " " + path + " lies inside the " + std::string(other) +
           " " + otherPath;
}

std::string ShareExists(const std::string& id, const std::string& site) {
    return site + ": share " + id + " is there already";
}

std::string NoShare(const std::string& id, const std::string& site) {
    return site + ": no share " + id;
}

std::string ImageExists(const std::string& path) {
    return path + ": the image is there already";
}

std::string NoFreeDcid(const std::string& volume) {
    return volume + ": no data-container identifier is left above those in use";
}

std::string Skipped(std::string_view kind, const std::string& path) {
    return path + ": skipped, a " + std::string(kind);
}

std::string Unpairable(std::uint64_t files) {
    return Number(files, "file lies", "files lie") +
           " below a directory whose name begins with \"head\"; the metadata check cannot pair " +
           (files == 1 ? "it" : "them") + " with extents";
}

std::string TablesTakenForHeaders(std::uint64_t files) {
    return files == 1 ? "1 file has a name that begins with \"head\"; the metadata check will take "
                        "its mapping tables for a header"
                      : std::to_string(files) +
                            " files have names that begin with \"head\"; the metadata check will "
                            "take their mapping tables for headers";
}

std::string HeadInSharePath(const std::string& path) {
    return path +
           ": \"/head\" in the share's own path; the metadata check will take every file of the "
           "share for a header";
}

std::string FileChanged(const std::string& path) {
    return path + ": changed while it was packed";
}

std::string TooManyTables(const std::string& path, std::uint64_t tables) {
    return path + ": would need " + std::to_string(tables) +
           " mapping tables; give a larger --table-span";
}

std::string TableCostsTooMuch(const std::string& path) {
    return path +
           ": a mapping table would cover more than readers accept; give a smaller --table-span";
}

std::string Packed(const std::string& id, const PackSummary& summary) {
    return "share " + id + ": " + Number(summary.files, "file", "files") + ", " +
           Number(summary.bytes, "byte", "bytes") + ", " +
           Number(summary.extents, "extent", "extents") + ", " +
           Number(summary.containers, "container", "containers") + ", " +
           Number(summary.storedBytes, "byte", "bytes") + " stored, " +
           std::to_string(summary.skipped) + " skipped";
}

std::string Damaged(const std::string& file, std::string_view why) {
    return "damaged file " + file + ": " + std::string(why);
}

std::string DamagedExtent(const std::string& file, std::uint64_t start, std::string_view why) {
    return Damaged(file, "extent at " + std::to_string(start) + ": " + std::string(why));
}

std::string Unpacked(const std::string& id, std::uint64_t files, std::uint64_t bytes) {
    return "share " + id + ": " + Number(files, "file", "files") + ", " +
           Number(bytes, "byte", "bytes") + " restored";
}

std::string BadRecipe(const std::string& recipe, const std::string& where, std::string_view why) {
    return recipe + ": " + (where.empty() ? "" : where + ": ") + std::string(why);
}

std::string Made(const std::string& site, std::uint64_t shares, std::uint64_t files) {
    return site + ": " + Number(shares, "share", "shares") + ", " + Number(files, "file", "files");
}

std::string UnknownKind(const std::string& path) {
    return path +
           ": no header file, extent file, container index, container image or mapping tables (bad "
           "magic number)";
}

std::string BadSeed(const std::string& text) {
    return "\"" + text + "\" is no number from 0 to 18446744073709551615";
}

std::string UnknownDamage(const std::string& kind) {
    return "no kind \"" + kind + "\"; see jorvshare damage --list";
}

std::string NoSuchFile(const std::string& path, const std::string& id) {
    return path + ": no file of share " + id;
}

std::string KindNotForFile(const std::string& kind, const std::string& path) {
    return path + ": not a file that kind " + kind + " can be applied to";
}

std::string KindNotForLayout(const std::string& kind, const std::string& site,
                             std::string_view layout) {
    return site + ": kind " + kind + " does not apply to the layout " + std::string(layout);
}

std::string NothingToDamage(const std::string& kind, const std::string& id) {
    return "share " + id + ": nothing that kind " + kind + " can be applied to";
}

std::string Interrupted(int signal) {
    return "stopped by signal " + std::to_string(signal) + "; nothing was kept";
}

std::string OutOfMemory() {
    return "out of memory";
}

}  // namespace jorvshare::wording
