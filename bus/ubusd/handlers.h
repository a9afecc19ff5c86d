// The broker's handler of each type of message.
#pragma once

// Makes everything below ready; comes before any client.
void handlers_init();

// Reads the access lists of the folder anew, and tells whoever registered for it.
void handlers_load_access(const char *folder);
