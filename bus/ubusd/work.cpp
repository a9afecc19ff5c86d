#include "work.h"

namespace
{

unsigned turn_work;
unsigned slice_work;

} // namespace

void work_begin_turn()
{
    turn_work = 0;
    slice_work = 0;
}

void work_begin_slice()
{
    slice_work = 0;
}

void work_add(unsigned units)
{
    turn_work += units;
    slice_work += units;
}

unsigned work_of_turn()
{
    return turn_work;
}

bool work_slice_is_over()
{
    return slice_work >= kSliceWork;
}

bool work_turn_is_over()
{
    return turn_work >= kTurnWork;
}
