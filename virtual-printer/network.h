// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "settings.h"

// The printer attached to the network, as one that takes raw data over TCP.

// Returns a socket that listens on a port of 127.0.0.1, for the process to keep, or -1 with a
// reason in errno. A port of 0 is set to a free one.
int open_network(unsigned& port);

// Serves one connection after the other, to each of which the printer is what its settings say,
// until a signal ends the process: SIGINT, SIGTERM and SIGHUP do so with status 0.
[[noreturn]] void serve_network(int server, const PrinterSettings& settings);
