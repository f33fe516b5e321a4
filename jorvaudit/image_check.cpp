#include "jorvaudit/image_check.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <span>
#include <sstream>

#include "jorvaudit/captured.h"
#include "jorvaudit/judgement.h"
#include "jorvaudit/view.h"
#include "terminal/printable.h"
#include "terminal/tool_error.h"

namespace jorvaudit {

namespace {

constexpr std::string_view kList = "/vcopy.dat";

struct Image {
    std::string policy;
    std::string time;
    std::string name;
};

class ImageCheck {
  public:
    ImageCheck(const ViewSettings& settings, double limitSeconds, const std::string& view,
               std::string raw)
        : settings_(settings), limit_(limitSeconds), view_(view), raw_(std::move(raw)) {}

    ImagesResult Run() {
        const std::string list = settings_.share + std::string(kList);
        std::string text;
        if (!ReadList(list, &text)) {
            return std::move(result_);
        }
        ParseImages(text);
        result_.count.thereAre = images_.size();
        std::filesystem::create_symlink(list, view_.Path() + std::string(kList));
        const Captured run = RunView();
        std::ofstream(raw_ + "/images.stdout", std::ios::binary) << run.out;
        std::ofstream(raw_ + "/images.stderr", std::ios::binary) << run.err;
        const LineReader reader = ReadErrors(run);
        if (IsSound(run, reader)) {
            result_.count.lookedAt = images_.size();
        } else if (JudgeList(reader)) {
            CheckPiece(images_);
        }
        return std::move(result_);
    }

  private:
    void Add(const Kind& kind, Object object, const std::string& name, std::string detail = {}) {
        result_.findings.push_back(
            {.kind = &kind, .object = object, .name = name, .detail = std::move(detail)});
    }

    // False when there is no list to check. The checker takes one that it cannot open for missing.
    bool ReadList(const std::string& path, std::string* text) {
        constexpr std::uint64_t kMostBytes = 64U << 20U;
        struct stat attributes = {};
        if (::stat(path.c_str(), &attributes) != 0) {
            const int code = errno;
            struct stat itself = {};
            // A link that leads nowhere is there.
            if (code != ENOENT || ::lstat(path.c_str(), &itself) == 0) {
                Add(kinds::kImageListUnreadable, Object::kShare, "vcopy.dat", ErrorText(code));
            }
            return false;
        }
        if (S_ISDIR(attributes.st_mode)) {
            Add(kinds::kParsePolicyFailed, Object::kShare, "vcopy.dat", "a directory");
            return false;
        }
        std::ifstream file;
        if (S_ISREG(attributes.st_mode)) {
            file.open(path, std::ios::binary);
        }
        const bool isLong = static_cast<std::uint64_t>(attributes.st_size) > kMostBytes;
        if (!file.is_open() || isLong) {
            Add(kinds::kImageListUnreadable, Object::kShare, "vcopy.dat",
                isLong                                           ? "larger than 64 MiB"
                : file.is_open() || !S_ISREG(attributes.st_mode) ? "not a regular file"
                                                                 : ErrorText(errno));
            return false;
        }
        text->resize(static_cast<std::size_t>(attributes.st_size));
        file.read(text->data(), attributes.st_size);
        if (file.bad()) {
            Add(kinds::kImageListUnreadable, Object::kShare, "vcopy.dat", ErrorText(errno));
            return false;
        }
        text->resize(static_cast<std::size_t>(file.gcount()));
        return true;
    }

    // The whole groups of three lines; what a group that was cut short lists, no one knows.
    void ParseImages(const std::string& text) {
        std::istringstream in(text);
        std::array<std::string, 3> group;
        while (std::getline(in, group[0]) && std::getline(in, group[1]) &&
               std::getline(in, group[2])) {
            std::size_t begin = 0;
            for (std::size_t end = group[2].find(';'); end != std::string::npos;
                 end = group[2].find(';', begin)) {
                images_.push_back({group[0], group[1], group[2].substr(begin, end - begin)});
                begin = end + 1;
            }
        }
    }

    Captured RunView() {
        Captured run = RunCaptured({settings_.checker, "--share_path", view_.Path()}, limit_);
        std::filesystem::remove(view_.Path() + std::string(kList));
        return run;
    }

    // Standard output has names of images, which can be any text. What is wrong is said on the
    // other stream.
    LineReader ReadErrors(const Captured& run) const {
        LineReader reader(&settings_.expected);
        reader.Add(lines::Stream::kError, run.err);
        reader.Finish();
        return reader;
    }

    static bool IsSound(const Captured& run, const LineReader& reader) {
        return run.EndText().empty() && reader.Findings().empty() && reader.Unknown().empty();
    }

    // What concerns the list, or the file system of images: without that no image can be checked.
    bool JudgeList(const LineReader& reader) {
        constexpr std::array kOfTheList = {&kinds::kParsePolicyFailed,
                                           &kinds::kParseBackupTimeFailed, &kinds::kMountFailed,
                                           &kinds::kUmountFailed};
        bool isMounted = true;
        for (const KnownLine& known : reader.Findings()) {
            for (const Kind* const kind : kOfTheList) {
                if (known.line->id == kind->id) {
                    Add(*kind, Object::kShare, "vcopy.dat");
                    isMounted = isMounted && kind != &kinds::kMountFailed;
                }
            }
        }
        return isMounted;
    }

    // The checker ends at the first image that is not sound, so the rest is checked apart.
    void CheckPiece(std::span<const Image> piece) {
        if (piece.empty()) {
            return;
        }
        WriteList(piece);
        const Captured run = RunView();
        const LineReader reader = ReadErrors(run);
        if (IsSound(run, reader)) {
            result_.count.lookedAt += piece.size();
        } else if (piece.size() == 1) {
            JudgeImage(piece.front(), run, reader);
        } else {
            CheckPiece(piece.first(piece.size() / 2));
            CheckPiece(piece.subspan(piece.size() / 2));
        }
    }

    void JudgeImage(const Image& image, const Captured& run, const LineReader& reader) {
        const std::string name = image.policy + ":" + image.time + ":" + image.name;
        for (const KnownLine& known : reader.Findings()) {
            if (known.line == &lines::kImageFailed) {
                Add(kinds::kImageFailed, Object::kImage, name, "code " + known.values.at(1));
                ++result_.count.lookedAt;
                return;
            }
        }
        Add(run.timedOut          ? kinds::kCheckerTimeout
            : run.end.signal != 0 ? kinds::kCheckerKilled
            : run.end.status != 0 ? kinds::kCheckerFailed
                                  : kinds::kUnknownLine,
            Object::kImage, name, run.EndText());
        for (const std::string& line : reader.Unknown()) {
            result_.findings.back().lines.push_back(terminal::Printable(line));
        }
    }

    void WriteList(std::span<const Image> images) const {
        std::ofstream list(view_.Path() + std::string(kList), std::ios::binary);
        for (const Image& image : images) {
            list << image.policy << '\n' << image.time << '\n' << image.name << ";\n";
        }
        list.flush();
        if (!list) {
            throw terminal::ToolError(terminal::Errno(view_.Path(), errno));
        }
    }

    const ViewSettings& settings_;
    const Children::Seconds limit_;
    const View view_;
    const std::string raw_;
    std::vector<Image> images_;
    ImagesResult result_;
};

}  // namespace

ImagesResult CheckImages(const ViewSettings& settings, double limitSeconds, const std::string& view,
                         const std::string& raw) {
    return ImageCheck(settings, limitSeconds, view, raw).Run();
}

}  // namespace jorvaudit
