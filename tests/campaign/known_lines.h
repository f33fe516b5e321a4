#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace campaign {

/// A text of the checker with gaps for what it is made with.
class Pattern {
  public:
    static constexpr char kGap = '\x01';        ///< any text, also an empty one
    static constexpr char kNumberGap = '\x02';  ///< decimal digits, perhaps with a minus

    explicit Pattern(std::string_view text);

    [[nodiscard]] bool Matches(std::string_view text) const;

  private:
    std::vector<std::string> pieces_;
    std::string gaps_;  ///< what is between two pieces
};

/// The lines of a text; what stands behind the last line end is one as well, unless it is empty.
std::vector<std::string> LinesOf(std::string_view text);

/// The lines of the catalogue.
class KnownLines {
  public:
    /// @param configuration path of the file that the library names in its one line.
    explicit KnownLines(const std::string& configuration);

    /// The first line of a text that is none of the checker's, or an empty text. `imageList`: the
    /// list of images as it is, whose names are printed as they stand.
    [[nodiscard]] std::string UnknownOnOutput(std::string_view text,
                                              std::string_view imageList) const;
    [[nodiscard]] std::string UnknownOnError(std::string_view text) const;

    /// Whether a line of standard error is one of those in which no user file or image is named.
    [[nodiscard]] bool NamesNoFile(std::string_view line) const;

  private:
    std::vector<Pattern> output_;
    std::vector<Pattern> error_;
    std::vector<Pattern> nameless_;
};

}  // namespace campaign
