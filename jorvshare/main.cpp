#include "jorvshare/command_line.h"

int main(int argc, char** argv) {
    return jorvshare::RunCommandLine(argc, argv);
}
