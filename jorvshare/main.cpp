#include "jorvshare/cli/cli.h"

int main(int argc, char** argv) {
    return jorvshare::RunCommandLine(argc, argv);
}
