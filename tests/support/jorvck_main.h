#pragma once

/// The checker's own main, which the tests are built with under this name.
int JorvckMain(int argc, char** argv);
