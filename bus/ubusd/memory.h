// Memory goes back to the system when what it was for is gone: by itself the allocator would keep what a crowd once
// took.
#pragma once

void memory_init();

// After much has been freed.
void memory_give_back();
