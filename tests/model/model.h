#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Predicts the checker's lines: what it prints about a share on disk, written independently of the
/// checker. Structures are read with the library's readers; which line comes
/// of them, and in which order, is decided here alone.
namespace model {

/// How the checker is called.
struct Invocation {
    std::string configuration;           ///< path of the file that the library reads
    std::vector<std::string> arguments;  ///< without the program's name
};

/// What a run of the checker prints, and its exit status.
struct Prediction {
    std::string out;
    std::string err;
    int status = 0;
    /// False where several threads write: then only the lines are certain, not their order.
    bool isOrdered = true;
};

/// Predicts a run over a share that does not change meanwhile. Not predicted: an image list of many
/// megabytes, for which the checker runs out of its budget, and a share path with slashes in a row
/// at its end.
Prediction Predict(const Invocation& invocation);

/// How a run differs from its prediction, for whoever reads the failure; empty where it does not.
std::string Difference(const Prediction& predicted, std::string_view out, std::string_view err,
                       int status);

}  // namespace model
