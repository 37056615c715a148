// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "settings.h"

// The printer attached to the network, as one that takes raw data over TCP: listens on a port of
// 127.0.0.1, a free one where `port` is 0, and prints the device URI for CUPS's socket back end.
// Serves one connection after the other, to each of which the printer is what its settings say.
// Returns the exit status: 0 once a signal has asked it to end, 1 where it cannot listen.
int serve_network(unsigned port, const PrinterSettings& settings);
