// invariant.h - what a fuzz target does when its promise does not hold.

#ifndef INVARIANT_H
#define INVARIANT_H

#include <cstdio>
#include <cstdlib>
#include <string>

/// Ends the run with \a promise on standard error; the fuzzer keeps the input.
inline void require(bool holds, const std::string &promise)
{
    if (holds)
        return;
    std::fprintf(stderr, "broken promise: %s\n", promise.c_str());
    std::abort();
}

#endif
