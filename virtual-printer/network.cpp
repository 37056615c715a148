// SPDX-License-Identifier: Apache-2.0
#include "network.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>

#include "printer.h"

namespace {

// Serves a connection until it fails, the printer dies, or the client has closed its side and has
// got all its replies.
void serve_connection(int connection, const PrinterSettings& settings) {
  Printer printer(settings);
  pollfd input = {connection, POLLIN, 0};
  while (!printer.IsDead() && (input.fd != -1 || printer.NextDue() != Time::max())) {
    poll(&input, 1, milliseconds_until(printer.NextDue(), Clock::now()));
    if (input.revents != 0) {
      char data[512];
      const ssize_t size = read(connection, data, sizeof data);
      if (size == -1) return;
      if (size == 0) input.fd = -1;  // poll ignores it
      printer.Receive(data, static_cast<std::size_t>(size), Clock::now());
    }
    const Piece piece = printer.Take(Clock::now());
    if (piece.size > 0 && send(connection, piece.data, piece.size, MSG_NOSIGNAL) == -1) return;
  }
}

}  // namespace

int open_network(unsigned& port) {
  const int server = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (server == -1) return -1;
  const int yes = 1;  // connections of an earlier run can be in TIME_WAIT
  setsockopt(server, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);

  sockaddr_in address = {};
  socklen_t size = sizeof address;
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto* name = reinterpret_cast<sockaddr*>(&address);
  if (bind(server, name, size) != 0 || listen(server, SOMAXCONN) != 0 ||
      getsockname(server, name, &size) != 0) {
    close(server);
    return -1;
  }
  port = ntohs(address.sin_port);
  return server;
}

void serve_network(int server, const PrinterSettings& settings) {
  for (;;) {
    const int connection = accept4(server, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection == -1) continue;
    serve_connection(connection, settings);
    close(connection);
  }
}
