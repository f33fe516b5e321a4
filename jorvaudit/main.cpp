#include "jorvaudit/command_line.h"

int main(int argc, char** argv) {
    return jorvaudit::RunCommandLine(argc, argv);
}
