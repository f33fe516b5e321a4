#include <cstdio>
#include <exception>

#include "refstore/config/settings.h"
#include "tests/model/model.h"

// Prints what the checker would print for the same command line, and ends as it would.

int main(int argc, char** argv) {
    try {
        const model::Prediction predicted =
            model::Predict({refstore::SettingsPath(), {argv + 1, argv + argc}});
        std::fwrite(predicted.out.data(), 1, predicted.out.size(), stdout);
        std::fwrite(predicted.err.data(), 1, predicted.err.size(), stderr);
        return predicted.status;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "model: %s\n", failure.what());
        return 2;
    }
}
