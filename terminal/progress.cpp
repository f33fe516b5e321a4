#include "terminal/progress.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <utility>

#include "terminal/console.h"

namespace terminal {

namespace {

constexpr std::size_t kWidth = 30;
constexpr std::chrono::milliseconds kPause{100};
constexpr double kLongest = 999.0 * 3600;
constexpr std::string_view kWipeLine = "\r\x1b[K";

// "1:05", "2:03:04"
std::string TimeText(std::uint64_t seconds) {
    const auto two = [](std::uint64_t number) {
        return (number < 10 ? "0" : "") + std::to_string(number);
    };
    const std::uint64_t hours = seconds / 3600;
    const std::string minutes = hours == 0 ? std::to_string(seconds / 60)
                                           : std::to_string(hours) + ":" + two(seconds / 60 % 60);
    return minutes + ":" + two(seconds % 60);
}

std::string RateText(double bytesPerSecond) {
    std::array<char, 32> text = {};
    std::snprintf(text.data(), text.size(), "%.1f MiB/s", bytesPerSecond / (1 << 20));
    return text.data();
}

}  // namespace

Progress::Progress(std::string label, std::uint64_t total)
    : label_(std::move(label)),
      total_(total),
      shown_(::isatty(STDERR_FILENO) == 1),
      next_(begin_ + kPause) {}

Progress::~Progress() {
    Clear();
}

void Progress::Clear() {
    if (std::exchange(drawn_, false)) {
        PrintDiagnostic(kWipeLine);
    }
}

void Progress::Advance(std::uint64_t steps, std::uint64_t bytes) {
    done_ += steps;
    bytes_ += bytes;
    if (!shown_) {
        return;
    }
    const Clock::time_point now = Clock::now();
    if (now >= next_) {
        next_ = now + kPause;
        drawn_ = true;
        PrintDiagnostic(std::string(kWipeLine) +
                        Bar(std::chrono::duration<double>(now - begin_).count()));
    }
}

std::string Progress::Bar(double elapsed) const {
    // A file that grows between two looks at it can lift the work done above the total.
    const double part =
        total_ == 0 ? 1.0 : std::min(1.0, static_cast<double>(done_) / static_cast<double>(total_));
    const auto full = static_cast<std::size_t>(part * kWidth);
    std::string bar = label_ + " [" + std::string(full, '#') + std::string(kWidth - full, ' ') +
                      "] " + std::to_string(static_cast<int>(part * 100)) + "%";
    if (elapsed > 0 && bytes_ > 0) {
        bar += "  " + RateText(static_cast<double>(bytes_) / elapsed);
    }
    if (elapsed > 0 && done_ > 0) {
        const double left = std::min(kLongest, elapsed * (1 - part) / part);
        bar += "  " + TimeText(static_cast<std::uint64_t>(std::llround(left))) + " left";
    }
    return note_.empty() ? bar : bar + "  " + note_;
}

}  // namespace terminal
