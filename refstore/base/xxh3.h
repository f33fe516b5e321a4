#pragma once

#include <xxhash.h>

// Where the library can choose by processor, calls go to the widest instructions that this one has:
// on x86-64 the plain ones are those of twenty years ago, at a third of the speed.
#if defined(__x86_64__) && __has_include(<xxh_x86dispatch.h>)
#include <xxh_x86dispatch.h>
#endif
