#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tests/campaign/scene.h"

namespace campaign {

/// The lines of a run on both streams, each in the order of their bytes: listings come in the file
/// system's order and threads in any, so what counts is which lines there are.
struct Lines {
    std::vector<std::string> out;
    std::vector<std::string> err;

    bool operator==(const Lines&) const = default;
};

Lines SortedLines(std::string_view out, std::string_view err);

/// What a run over a scene says before anything is done to it, written out by hand: a checker that
/// was broken for every share alike would else be the measure of itself.
Lines SoundLines(const Scene& scene);

/// The lines that stand in `lines` more often than in `others`; both sorted.
std::vector<std::string> LinesMore(const std::vector<std::string>& lines,
                                   const std::vector<std::string>& others);

}  // namespace campaign
