// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "settings.h"

// Simulates a network printer that receives raw data over TCP.

// Returns a socket that listens on a port of 127.0.0.1 and stays open, or -1 with a reason in
// errno. Sets a port of 0 to the free port that was chosen.
int open_network(unsigned& port);

// Serves one connection at a time, each with a new printer, until a signal ends the process.
[[noreturn]] void serve_network(int server, const PrinterSettings& settings);
