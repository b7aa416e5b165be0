// fuzz_walk.cpp - the driver and its reference, walked side by side; every choice comes from the input.
//
// Invariant: after any sequence of operations, everything that a host can see is what the reference driver has.

#include "invariant.h"

#include "walk.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    ByteDice dice(bytes, size);
    Walk walk;
    std::string told;
    for (int i = 0; i < 200 && !dice.usedUp(); ++i) {
        const int code = Walk::drawOperation(dice, false);
        const std::string difference = walk.perform(code, dice);
        told += "  " + walk.told() + "\n";
        require(difference.empty(), difference + "\n" + told);
    }
    const std::string difference = differenceOf(walk.model, walk.settings, true);
    require(difference.empty(), difference + "\n" + told);
    return 0;
}
