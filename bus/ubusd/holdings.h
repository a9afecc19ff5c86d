// Bounds of what clients may hold in the broker, each and all together. A client may hold no more than is
// left for the others, so that those who come last find something, however many came before.
#pragma once

#include <cstddef>

enum Holding { HELD_OBJECTS, HELD_SUBSCRIPTIONS, HELD_PATTERNS, HELD_NAMES, HELD_COUNT };

struct HoldingBound {
    size_t each;
    size_t all;
};

inline constexpr HoldingBound kHoldingBounds[HELD_COUNT] = {
    {8192, 32768},       // HELD_OBJECTS
    {8192, 32768},       // HELD_SUBSCRIPTIONS
    {1024, 8192},        // HELD_PATTERNS
    {8 << 20, 32 << 20}, // HELD_NAMES: bytes of paths, of the signatures that go with them, and of patterns
};

struct Holdings {
    size_t amounts[HELD_COUNT];
};

// 0, or -1 where a bound would be passed.
int holdings_take(Holdings &holdings, Holding kind, size_t amount);
void holdings_return(Holdings &holdings, Holding kind, size_t amount);
