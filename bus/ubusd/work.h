// How much is done before somebody else has a turn. Work is counted in units of about a microsecond (a message handled,
// a copy of it sent, an object taken away), not timed, so that it costs nothing and comes out the same everywhere.
#pragma once

inline constexpr unsigned kSliceWork = 256; // for one client
inline constexpr unsigned kTurnWork = 2048; // for those that were busy already, before new ones are looked for

void work_begin_turn();
void work_begin_slice();
void work_add(unsigned units);
unsigned work_of_turn();

// A request once begun is finished; these tell whether another may be begun.
bool work_slice_is_over();
bool work_turn_is_over();
