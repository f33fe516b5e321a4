#include "jorvaudit/meter.h"

#include <unistd.h>

#include <algorithm>
#include <string>

#include "terminal/console.h"

namespace jorvaudit {

namespace {

constexpr std::uint64_t kSteps = 1000000;
constexpr std::chrono::seconds kPause(60);

std::string DurationText(double seconds) {
    const auto minutes = static_cast<std::uint64_t>(seconds / 60);
    if (minutes >= 60) {
        return std::to_string(minutes / 60) + " h " + std::to_string(minutes % 60) + " min";
    }
    return minutes > 0 ? std::to_string(minutes) + " min"
                       : std::to_string(static_cast<std::uint64_t>(seconds)) + " s";
}

}  // namespace

Meter::Meter()
    : bar_("auditing", kSteps),
      isTerminal_(::isatty(STDERR_FILENO) == 1),
      began_(Clock::now()),
      next_(began_ + kPause) {}

void Meter::Show(const Advance& advance) {
    const double elapsed = std::chrono::duration<double>(Clock::now() - began_).count();
    const double part = std::clamp(advance.part, 0.0, 1.0);
    std::string text = std::to_string(advance.files) + " files";
    if (elapsed > 1) {
        text += ", " +
                std::to_string(
                    static_cast<std::uint64_t>(static_cast<double>(advance.files) / elapsed)) +
                "/s";
    }
    // The bar has its own.
    if (!isTerminal_ && elapsed > 1 && part > 0.01) {
        text += ", " + DurationText(elapsed / part * (1 - part)) + " left";
    }
    text += ", " + std::to_string(advance.findings) + " findings";
    if (isTerminal_) {
        const auto done = static_cast<std::uint64_t>(part * kSteps);
        bar_.SetNote(text);
        bar_.Advance(done - std::min(done, shown_));
        shown_ = std::max(done, shown_);
    } else if (Clock::now() >= next_) {
        next_ += kPause;
        terminal::PrintDiagnostic("jorvaudit: " + text + "\n");
    }
}

}  // namespace jorvaudit
