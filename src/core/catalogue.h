// The one place that knows every bus object of the daemon, by declaration only. Each family defines its objects in the
// file of its handlers; here they are listed in registration order, with what else start-up needs of others.
#pragma once

#include "core/families.h"

extern const Families kAllFamilies;
