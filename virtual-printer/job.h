// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "settings.h"

// Simulates a backend and its printer until the input ends: print data on descriptor 0, the back
// channel on 3, the side channel on 4. Exits with status 1 if the printer dies, as its settings
// say, or, after an "ERROR: " line, if the input cannot be read.
void serve_job(const Settings& settings);
