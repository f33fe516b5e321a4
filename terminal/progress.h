#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <utility>

namespace terminal {

/// Progress bar on standard error with the rate and the time left. Shown only when that is a
/// terminal, and wiped at the end. One thread.
class Progress {
  public:
    /// @param total steps of the whole work; steps may be bytes.
    Progress(std::string label, std::uint64_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Adds `steps` that are done, and `bytes` that were moved for them. Redraws ten times a second
    /// at most.
    void Advance(std::uint64_t steps, std::uint64_t bytes = 0);

    /// Wipes the bar, so that a line can be printed; the next Advance draws it again.
    void Clear();

    /// The bar after `elapsed` seconds: "<label> [####      ] 40%  12.3 MiB/s  1:05 left". Without
    /// bytes there is no rate.
    [[nodiscard]] std::string Bar(double elapsed) const;

    /// Text at the end of the bar, from the next redraw on.
    void SetNote(std::string note) { note_ = std::move(note); }

  private:
    using Clock = std::chrono::steady_clock;

    const std::string label_;
    const std::uint64_t total_;
    const bool shown_;
    const Clock::time_point begin_ = Clock::now();
    Clock::time_point next_;
    bool drawn_ = false;
    std::uint64_t done_ = 0;
    std::uint64_t bytes_ = 0;
    std::string note_;
};

}  // namespace terminal
