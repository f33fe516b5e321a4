#include "jorvaudit/checker.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "jorvaudit/children.h"
#include "terminal/tool_error.h"

namespace jorvaudit {

namespace {

constexpr std::size_t kPipeBytes = 1 << 18;
constexpr std::size_t kMostRaw = 1 << 16;
constexpr std::size_t kMostLine = 1 << 20;
constexpr std::size_t kMostLines = 1000;

// The reading end of a stream of the checker.
class Pipe {
  public:
    Pipe() {
        if (::pipe2(ends_.data(), O_CLOEXEC) != 0) {
            throw terminal::ToolError(terminal::Errno("a pipe", errno));
        }
        ::fcntl(ends_[0], F_SETFL, O_NONBLOCK);
        // Room for what is printed between two looks at it. The system may refuse it.
        ::fcntl(ends_[1], F_SETPIPE_SZ, static_cast<int>(kPipeBytes));
    }
    ~Pipe() {
        CloseInput();
        ::close(ends_[0]);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    [[nodiscard]] int Input() const { return ends_[1]; }
    void CloseInput() {
        if (ends_[1] >= 0) {
            ::close(ends_[1]);
            ends_[1] = -1;
        }
    }

    /// Hands over what there is, without waiting.
    void Drain(lines::Stream stream, const OutputSink& sink) {
        for (;;) {
            const ssize_t got = ::read(ends_[0], buffer_.data(), buffer_.size());
            if (got <= 0) {
                return;
            }
            sink(stream, {buffer_.data(), static_cast<std::size_t>(got)});
        }
    }

  private:
    std::array<int, 2> ends_ = {-1, -1};
    std::array<char, 65536> buffer_;
};

const lines::Line* KnownFindingOrNotice(lines::Stream stream, std::string_view text,
                                        lines::Values* values) {
    for (const lines::Line* const line : lines::kAll) {
        // The name of an image is any text: a view has no images, and a list of them is read by
        // those who know the names.
        if (line->stream != stream || line == &lines::kImage ||
            line->kind == lines::Kind::kNeverPrinted) {
            continue;
        }
        if (const auto found = lines::Match(*line, text)) {
            *values = *found;
            return line;
        }
    }
    return nullptr;
}

}  // namespace

CheckerEnd RunChecker(const std::vector<std::string>& words, const OutputSink& sink) {
    Pipe out;
    Pipe err;
    const pid_t pid = StartProgram(words, out.Input(), err.Input());
    out.CloseInput();
    err.CloseInput();
    int state = 0;
    // Woken by the end of the checker; in between now and then, since a look after each of its
    // lines would cost more than the check.
    while (::waitpid(pid, &state, WNOHANG) == 0) {
        out.Drain(lines::Stream::kOutput, sink);
        err.Drain(lines::Stream::kError, sink);
        WaitForChild(std::chrono::milliseconds(5));
    }
    out.Drain(lines::Stream::kOutput, sink);
    err.Drain(lines::Stream::kError, sink);
    return {WIFEXITED(state) ? WEXITSTATUS(state) : -1, WIFSIGNALED(state) ? WTERMSIG(state) : 0};
}

void LineReader::Add(lines::Stream stream, std::string_view bytes) {
    std::string& rest = rest_[stream == lines::Stream::kError ? 1 : 0];
    while (!bytes.empty()) {
        const std::size_t end = bytes.find('\n');
        rest += bytes.substr(0, end == std::string_view::npos ? end : end + 1);
        bytes.remove_prefix(end == std::string_view::npos ? bytes.size() : end + 1);
        if (rest.ends_with('\n') || rest.size() > kMostLine) {
            TakeLine(stream, rest);
            rest.clear();
        }
    }
}

void LineReader::Finish() {
    for (const lines::Stream stream : {lines::Stream::kOutput, lines::Stream::kError}) {
        std::string& rest = rest_[stream == lines::Stream::kError ? 1 : 0];
        if (!rest.empty()) {
            TakeLine(stream, rest);
            rest.clear();
        }
    }
}

void LineReader::TakeLine(lines::Stream stream, std::string_view line) {
    // By far the most frequent one.
    if (line == lines::kStorageObject.text) {
        namesContainers_ = true;
        return;
    }
    lines::Values values = {};
    const lines::Line* const known = KnownFindingOrNotice(stream, line, &values);
    if (known != nullptr &&
        (known->kind == lines::Kind::kNotice || known->kind == lines::Kind::kProgress)) {
        return;
    }
    if (known == nullptr && expected_->contains(std::string(line))) {
        return;
    }
    if (raw_.size() < kMostRaw) {
        raw_ += (stream == lines::Stream::kError ? "err: " : "out: ") + std::string(line);
        raw_ += line.ends_with('\n') ? "" : "\n";
    }
    // One is enough to make a view suspicious; a damaged table can give one per extent.
    if (known == nullptr && unknown_.size() < kMostLines) {
        unknown_.emplace_back(line);
    }
    if (known == nullptr || findings_.size() >= kMostLines) {
        return;
    }
    KnownLine& kept = findings_.emplace_back(KnownLine{.line = known, .values = {}});
    for (std::size_t i = 0; i < lines::CountValues(*known); ++i) {
        kept.values.emplace_back(values.at(i));
    }
}

}  // namespace jorvaudit
