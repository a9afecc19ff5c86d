// What the broker does on each type of message.
#pragma once

// Makes everything below ready; comes before any client.
void handlers_init();
