#include "terminal/progress.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "terminal/console.h"

namespace terminal {

namespace {

constexpr std::size_t kWidth = 40;
constexpr std::chrono::milliseconds kPause{100};
constexpr std::string_view kWipeLine = "\r\x1b[K";

}  // namespace

Progress::Progress(std::string label, std::uint64_t total)
    : label_(std::move(label)),
      total_(total),
      shown_(::isatty(STDERR_FILENO) == 1),
      next_(std::chrono::steady_clock::now() + kPause) {}

Progress::~Progress() {
    if (shown_) {
        PrintDiagnostic(kWipeLine);
    }
}

void Progress::Advance(std::uint64_t steps) {
    done_ += steps;
    if (shown_ && std::chrono::steady_clock::now() >= next_) {
        next_ = std::chrono::steady_clock::now() + kPause;
        Draw();
    }
}

void Progress::Draw() {
    // A file that grows between two looks at it can lift the work done above the total.
    const double part =
        total_ == 0 ? 1.0 : std::min(1.0, static_cast<double>(done_) / static_cast<double>(total_));
    const auto full = static_cast<std::size_t>(part * kWidth);
    PrintDiagnostic(std::string(kWipeLine) + label_ + " [" + std::string(full, '#') +
                    std::string(kWidth - full, ' ') + "] " +
                    std::to_string(static_cast<int>(part * 100)) + "%" +
                    (note_.empty() ? "" : "  " + note_));
}

}  // namespace terminal
