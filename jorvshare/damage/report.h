#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace jorvshare::damage {

/// A way of calling the checker.
enum class Mode {
    kMetadata,  ///< --share_path
    kData,      ///< --share_id --verify_data
    kAged,      ///< --share_id --verify_data --t 1
};

enum class Stream { kOutput, kError };

using Lines = std::vector<std::string>;

/// What one run of the tool did, and by which lines the checker's output is then to differ from
/// that on the same share before. The order of the lines is not foretold.
class Report {
  public:
    /// One thing on disk that is now different; made one line, see OneLine.
    void Changed(const std::string& what);

    /// A text that the checker now prints, without its last newline. Newlines inside it make it
    /// several lines.
    void Expect(Mode mode, Stream stream, const std::string& text);

    /// A text that the checker printed before and no longer prints.
    void Lose(Mode mode, Stream stream, const std::string& text);

    /// The difference between what was printed before and what is printed now.
    void Compare(Mode mode, Stream stream, const Lines& before, const Lines& after);

    /// Exit status of the checker, where it is not 0.
    void ExpectStatus(Mode mode, int status);

    [[nodiscard]] const Lines& Changes() const { return changes_; }

    /// Lines "expect MODE STREAM: LINE", "lose MODE STREAM: LINE", "expect MODE status: N" of one
    /// mode; none when it is to say what it said before.
    [[nodiscard]] Lines Expectations(Mode mode) const;

  private:
    struct Expectation {
        Mode mode;
        std::string line;
    };

    void Add(const char* verb, Mode mode, Stream stream, const std::string& text);

    Lines changes_;
    std::vector<Expectation> expectations_;
};

/// "metadata", "data" or "data-aged".
std::string NameOf(Mode mode);

}  // namespace jorvshare::damage
