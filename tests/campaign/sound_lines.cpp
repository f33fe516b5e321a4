#include "tests/campaign/sound_lines.h"

#include <algorithm>
#include <iterator>

#include "tests/campaign/known_lines.h"

namespace campaign {

namespace {

using Texts = std::vector<std::string>;

Lines OfFileData(const Scene& scene) {
    return {{"Checking files which are created before 0 hours in 7", "Loading volumes for 7",
             "Loading data containers for 7", "Loading headers for 7", "Checking files for 7",
             "Check files for 7 done!"},
            {"Total number of file: 4", " 4/4", "",
             "[ERROR]: Cannot find dcid: 999 file: /mnt/jorv/7/7/d/gamma",
             "[ERROR]: File information, path: /d/gamma ec: 7 [ mtim: 1600000000 size: 1073754112 "
             "fg: 3 ext: " +
                 scene.site + "/meta/7/7/map/d/gamma extl: local ]"}};
}

Lines OfMetadata(const Scene& scene) {
    const std::string share = scene.site + "/meta/7/7";
    Lines lines = {{"checking sharePath " + share, "i1", "i2",
                    "[JORVCK_VCOPY] validating vcopy for " + share + "successfully! "},
                   {}};
    const auto isWalked = [](const Victim& victim) { return victim.walked; };
    if (std::none_of(scene.victims.begin(), scene.victims.end(), isWalked)) {
        return lines;
    }
    std::size_t announced = 0;
    for (const Victim& victim : scene.victims) {
        // "beta" is made as "alpha" is; "gamma" ends at its first extent.
        announced += victim.name == "alpha" ? 2 * victim.announced : victim.announced;
    }
    lines.err.assign(announced, "verify SO exist... ");
    lines.err.push_back("[ERROR]: extent file cksum failed " + share + "/map/d/gamma");
    const auto isVerified = [](const Victim& victim) { return victim.verified; };
    if (std::any_of(scene.victims.begin(), scene.victims.end(), isVerified)) {
        for (const std::string_view name : kUserFiles) {
            lines.err.push_back("Verify file " + share + "/map/d/" + std::string(name));
        }
    }
    return lines;
}

}  // namespace

Lines SortedLines(std::string_view out, std::string_view err) {
    Lines lines = {LinesOf(out), LinesOf(err)};
    std::sort(lines.out.begin(), lines.out.end());
    std::sort(lines.err.begin(), lines.err.end());
    return lines;
}

Lines SoundLines(const Scene& scene) {
    Lines lines = scene.fileData ? OfFileData(scene) : OfMetadata(scene);
    std::sort(lines.out.begin(), lines.out.end());
    std::sort(lines.err.begin(), lines.err.end());
    return lines;
}

Texts LinesMore(const Texts& lines, const Texts& others) {
    Texts more;
    std::set_difference(lines.begin(), lines.end(), others.begin(), others.end(),
                        std::back_inserter(more));
    return more;
}

}  // namespace campaign
