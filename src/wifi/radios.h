// Channel scans, which start-up asks for, too.
#pragma once

#include <cstdint>

// Asks the service to scan the channels of band 0 or 1; other bands do nothing. Nobody is told how it went.
void scan_channels(uint32_t band);
