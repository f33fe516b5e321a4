#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <utility>

namespace terminal {

/// Progress bar on standard error, shown only when that is a terminal and wiped at the end. One
/// thread.
class Progress {
  public:
    /// @param total steps of the whole work; steps may be bytes.
    Progress(std::string label, std::uint64_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Adds `steps` that are done. Redraws ten times a second at most.
    void Advance(std::uint64_t steps);

    /// Text after the percentage, from the next redraw on.
    void SetNote(std::string note) { note_ = std::move(note); }

  private:
    void Draw();

    const std::string label_;
    const std::uint64_t total_;
    const bool shown_;
    std::uint64_t done_ = 0;
    std::string note_;
    std::chrono::steady_clock::time_point next_;
};

}  // namespace terminal
