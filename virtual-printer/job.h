// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "settings.h"

// The printer attached to a job, as a back end: what the filter sends on descriptor 0, replies on
// the back channel (3), requests on the side channel (4), until the input ends. Returns nothing: a
// printer whose settings say that it dies ends the process with status 1, and so does, with an
// "ERROR: " line, one whose input cannot be read.
void serve_job(const Settings& settings);
