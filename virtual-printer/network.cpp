// SPDX-License-Identifier: Apache-2.0
#include "network.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "printer.h"

namespace {

// A descriptor that can be read once a signal has asked the process to end.
int open_end() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  return signalfd(-1, &signals, SFD_CLOEXEC);
}

// A socket that listens on the port of 127.0.0.1, or -1. Sets a port of 0 to the one it got.
int open_server(unsigned& port) {
  const int server = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (server == -1) return -1;
  const int yes = 1;  // connections of an earlier run may still be dying away on the port
  setsockopt(server, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);

  sockaddr_in address = {};
  socklen_t size = sizeof address;
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto* name = reinterpret_cast<sockaddr*>(&address);
  if (bind(server, name, size) != 0 || listen(server, 8) != 0 ||
      getsockname(server, name, &size) != 0) {
    close(server);
    return -1;
  }
  port = ntohs(address.sin_port);
  return server;
}

// Waits until there is something to read, or so many milliseconds; false where the end has come.
bool wait_for(int fd, int end, int timeout, bool& readable) {
  pollfd fds[] = {{fd, POLLIN, 0}, {end, POLLIN, 0}};
  poll(fds, 2, timeout);
  readable = fds[0].revents != 0;
  return fds[1].revents == 0;
}

// Serves a connection until either side closes it; false where the end has come before.
bool serve_connection(int connection, int end, const PrinterSettings& settings) {
  Printer printer(settings);
  bool readable = false;
  while (!printer.IsDead()) {
    const int timeout = milliseconds_until(printer.NextDue(), Clock::now());
    if (!wait_for(connection, end, timeout, readable)) return false;
    if (readable) {
      char data[512];
      const ssize_t size = read(connection, data, sizeof data);
      if (size <= 0) break;
      printer.Receive(data, static_cast<std::size_t>(size), Clock::now());
    }
    const Piece piece = printer.Take(Clock::now());
    if (piece.size > 0 && send(connection, piece.data, piece.size, MSG_NOSIGNAL) == -1) break;
  }
  return true;
}

}  // namespace

int serve_network(unsigned port, const PrinterSettings& settings) {
  const int end = open_end();
  const int server = open_server(port);
  if (end == -1 || server == -1) {
    std::fprintf(stderr, "ERROR: virtual-printer: cannot listen on port %u of 127.0.0.1: %s\n",
                 port, std::strerror(errno));
    return 1;
  }
  std::printf("socket://127.0.0.1:%u/?snmp=false&waiteof=false\n", port);
  std::fflush(stdout);

  bool readable = false;
  while (wait_for(server, end, -1, readable)) {
    const int connection = accept4(server, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection == -1) continue;
    const bool go_on = serve_connection(connection, end, settings);
    close(connection);
    if (!go_on) break;
  }
  close(server);
  close(end);
  return 0;
}
