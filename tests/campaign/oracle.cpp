#include "tests/campaign/oracle.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "refstore/image/image_check.h"
#include "tests/campaign/expectation.h"
#include "tests/support/line_text.h"

namespace campaign {

namespace {

using test_support::LineText;
using Texts = std::vector<std::string>;

void Add(Texts& lines, std::string_view text) {
    for (std::string& line : LinesOf(text)) {
        lines.push_back(std::move(line));
    }
}

void Remove(Texts& lines, std::string line, std::size_t count = 1) {
    line.pop_back();  // its line end
    for (; count > 0; --count) {
        const auto at = std::find(lines.begin(), lines.end(), line);
        if (at != lines.end()) {
            lines.erase(at);
        }
    }
}

// The texts are equal but for gaps in what is expected.
bool Same(Texts expected, Texts actual) {
    std::sort(expected.begin(), expected.end());
    Texts left;
    Texts unmet;
    std::set_difference(actual.begin(), actual.end(), expected.begin(), expected.end(),
                        std::back_inserter(left));
    std::set_difference(expected.begin(), expected.end(), actual.begin(), actual.end(),
                        std::back_inserter(unmet));
    return std::is_permutation(left.begin(), left.end(), unmet.begin(), unmet.end(),
                               [](const std::string& line, const std::string& wanted) {
                                   return Pattern(wanted).Matches(line) ||
                                          Pattern(line).Matches(wanted);
                               });
}

bool Names(const std::string& line, std::string_view name) {
    return line.find(name) != std::string::npos;
}

Texts LinesAbout(const Texts& lines, std::string_view name) {
    Texts about;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(about),
                 [name](const std::string& line) { return Names(line, name); });
    return about;
}

bool IsGlobal(FileKind kind) {
    return kind == FileKind::kConfiguration || kind == FileKind::kVolumeTable ||
           kind == FileKind::kContainerIndex;
}

Judgement Unexplained(std::string why) {
    return {Outcome::kUnexplained, std::move(why)};
}

}  // namespace

Oracle::Oracle(const Scene& scene)
    : scene_(scene), known_(scene.Configuration()), sound_(SoundLines(scene)) {}

std::string Oracle::Upright(const std::string& imageList, const Ended& ended) const {
    if (ended.hung) {
        return "did not end";
    }
    if (ended.signal != 0) {
        return "ended by signal " + std::to_string(ended.signal);
    }
    if (ended.status != 0 && ended.status != 255) {
        return "status " + std::to_string(ended.status);
    }
    if (const std::string line = known_.UnknownOnOutput(ended.out, imageList); !line.empty()) {
        return "unknown on standard output: " + line;
    }
    if (const std::string line = known_.UnknownOnError(ended.err); !line.empty()) {
        return "unknown on standard error: " + line;
    }
    if ((ended.status == 255) != ended.out.ends_with(lines::kUnhandledException.text)) {
        return "status and last line do not agree";
    }
    return {};
}

// Exactly what the checker says of a file that does not load: no line more, none less.
bool Oracle::IsRefusal(const Victim& victim, const Lines& lines) const {
    Lines wanted = sound_;
    const std::string file = "/d/" + victim.name;
    switch (victim.kind) {
        case FileKind::kHeader:
            if (scene_.fileData) {
                Add(wanted.err, LineText(lines::kHeaderNotLoaded, {std::string(1, Pattern::kGap)}));
                Add(wanted.err, LineText(lines::kMetaLoadFailed, {"/mnt/jorv/7/7" + file}));
            } else {
                Add(wanted.err, LineText(lines::kHeaderLoadFailed));
                Add(wanted.err, LineText(lines::kCorruptHeader, {victim.shown}));
            }
            break;
        case FileKind::kExtentFile:
        case FileKind::kTables:
            if (scene_.fileData) {
                Add(wanted.err, LineText(lines::kCheckFailed, {file}));
                break;
            }
            Add(wanted.err, LineText(lines::kExtentLoadFailed));
            Add(wanted.err, LineText(lines::kCorruptExtent, {victim.shown}));
            if (victim.walked) {
                Remove(wanted.err, LineText(lines::kStorageObject), victim.announced);
                Add(wanted.err, LineText(lines::kProcessFailed, {std::to_string(EBADMSG)}));
            }
            if (victim.verified) {
                Remove(wanted.err, LineText(lines::kVerifyFile, {victim.shown}));
            }
            break;
        case FileKind::kImage:
            Add(wanted.err, LineText(lines::kImageFailed,
                                     {victim.name, std::to_string(refstore::kImageDamaged)}));
            Remove(wanted.out, LineText(lines::kImagesValidated, {scene_.words.back()}));
            break;
        default:
            break;
    }
    return Same(wanted.out, lines.out) && Same(wanted.err, lines.err);
}

std::string Oracle::OthersDiffer(const Victim& victim, const Mutation& mutation,
                                 const Lines& lines) const {
    for (const std::string_view name : kUserFiles) {
        if (name == victim.name || IsGlobal(victim.kind)) {
            continue;
        }
        const Texts before = LinesAbout(sound_.err, name);
        const Texts after = LinesAbout(lines.err, name);
        const bool loses = mutation.change == Change::kObject &&
                           LosesLines(victim.kind, static_cast<Object>(mutation.first));
        if (loses ? !std::includes(before.begin(), before.end(), after.begin(), after.end())
                  : before != after) {
            return "other lines about " + std::string(name);
        }
    }
    return {};
}

// What is said beyond the lines of the sound share names the damaged file, or no file at all.
std::string Oracle::SaysTooMuch(const Victim& victim, const Lines& lines) const {
    if (IsGlobal(victim.kind) || victim.kind == FileKind::kImageList) {
        return {};
    }
    for (const std::string& line : LinesMore(lines.err, sound_.err)) {
        if (!Names(line, victim.name) && !known_.NamesNoFile(line)) {
            return "names another file: " + line;
        }
    }
    if (victim.kind != FileKind::kImage && lines.out != sound_.out) {
        return "other lines on standard output";
    }
    return {};
}

Judgement Oracle::JudgeConfiguration(const Lines& lines, const Ended& ended) const {
    if (ended.status == 255) {
        // Refused by the library's one line, before the first check.
        return ended.out == lines::kUnhandledException.text && lines.err.size() == 1
                   ? Judgement{Outcome::kEnded, {}}
                   : Unexplained("a refused configuration says more than that");
    }
    return {lines.err == sound_.err ? Outcome::kSame : Outcome::kFound, {}};
}

Judgement Oracle::JudgeObject(const Victim& victim, const Mutation& mutation, const Lines& lines,
                              const Ended& ended) const {
    const bool same = lines == sound_;
    // A list of images is told of by lines that may name no file.
    const bool named =
        victim.kind == FileKind::kImageList
            ? lines.err != sound_.err
            : !LinesAbout(lines.err, victim.name).empty() &&
                  LinesAbout(lines.err, victim.name) != LinesAbout(sound_.err, victim.name);
    const Expected expected =
        ExpectedOf(victim.kind, static_cast<Object>(mutation.first), scene_.fileData);
    switch (expected) {
        case Expected::kNamed:
            return named && ended.status == 0 ? Judgement{Outcome::kFound, {}}
                                              : Unexplained("no finding names the file");
        case Expected::kNamedOrEnds:
            if (ended.status == 255) {
                return {Outcome::kEnded, {}};
            }
            return named ? Judgement{Outcome::kFound, {}}
                         : Unexplained("no finding names the file");
        case Expected::kEnds:
            return ended.status == 255 ? Judgement{Outcome::kEnded, {}}
                                       : Unexplained("the run did not end there");
        case Expected::kSilent:
            if (ended.status != 0 || named) {
                return Unexplained("not passed over");
            }
            return {same ? Outcome::kSame : Outcome::kFound, {}};
        case Expected::kAny:
            if (ended.status != 0) {
                return Unexplained("the run ended early");
            }
            return {same ? Outcome::kSame : Outcome::kFound, {}};
    }
    return Unexplained("no expectation");
}

Judgement Oracle::Judge(const Victim& victim, const Mutation& mutation, bool changed,
                        const std::string& imageList, const Ended& ended) const {
    if (std::string why = Upright(imageList, ended); !why.empty()) {
        return Unexplained(std::move(why));
    }
    const Lines lines = SortedLines(ended.out, ended.err);
    const bool same = lines == sound_;
    const bool isObject = mutation.change == Change::kObject;
    if (victim.kind == FileKind::kConfiguration && !isObject) {
        return JudgeConfiguration(lines, ended);
    }
    if (std::string why = OthersDiffer(victim, mutation, lines);
        !why.empty() && ended.status == 0) {
        return Unexplained(std::move(why));
    }
    if (std::string why = SaysTooMuch(victim, lines); !why.empty() && ended.status == 0) {
        return Unexplained(std::move(why));
    }
    if (isObject) {
        return JudgeObject(victim, mutation, lines, ended);
    }
    if (ended.status != 0) {
        return Unexplained("the run ended early");
    }
    if (!changed || victim.kind == FileKind::kContainerIndex) {
        // The checker asks for an index's presence alone.
        return same ? Judgement{Outcome::kSame, {}} : Unexplained("a finding without damage");
    }
    const bool loaded = ended.layer == Layer::kLoaded;
    if (IsSealed(victim.kind) && (!mutation.sealed || (ended.layer != Layer::kNone && !loaded))) {
        return IsRefusal(victim, lines) ? Judgement{Outcome::kFound, {}}
                                        : Unexplained("damage not found, or not told as such");
    }
    return {same ? Outcome::kSame : Outcome::kFound, {}};
}

}  // namespace campaign
