#include "jorvck/driver/run.h"

int main(int argc, char** argv) {
    return Corvane::Kst::Marlow::JorvCk::Run(argc, argv);
}
