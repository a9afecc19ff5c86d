#include "holdings.h"

namespace
{

Holdings all;

} // namespace

int holdings_take(Holdings &holdings, Holding kind, size_t amount)
{
    const HoldingBound &bound = kHoldingBounds[kind];
    size_t wanted = holdings.amounts[kind] + amount;
    if (wanted > bound.each || wanted > bound.all - all.amounts[kind])
        return -1;
    holdings.amounts[kind] = wanted;
    all.amounts[kind] += amount;
    return 0;
}

void holdings_return(Holdings &holdings, Holding kind, size_t amount)
{
    holdings.amounts[kind] -= amount;
    all.amounts[kind] -= amount;
}
