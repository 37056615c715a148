// SPDX-License-Identifier: Apache-2.0
//
// virtual-printer: simulates a ribbon photo printer and its backend.
#include <cups/backend.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "job.h"
#include "network.h"
#include "settings.h"

namespace {

// The exit status of a run that printed to standard output.
int flush_output() {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return 0;
  std::perror("ERROR: virtual-printer: cannot write");
  return 1;
}

int help() {
  std::printf(
      "Usage: virtual-printer --run URI FILTER [ARG...]\n"
      "       virtual-printer --listen PORT URI\n"
      "       virtual-printer --check URI [job|socket|usb]\n"
      "       virtual-printer job-id user title copies options\n"
      "\n"
      "Simulates a ribbon photo printer.\n"
      "\n"
      "  --run     executes FILTER, connected to a simulated printer.\n"
      "  --listen  serves raw TCP on 127.0.0.1:PORT (0: any free port), prints the\n"
      "            device URI, runs until Ctrl-C.\n"
      "  --check   exits with status 1 if the URI is invalid for a printer behind the\n"
      "            simulated backend (job, default) or CUPS's socket or usb backend.\n"
      "\n"
      "With five arguments it is a CUPS backend, whose URI is in DEVICE_URI.\n"
      "\n"
      "In this example, for the build directory, the printer has an error and is asleep\n"
      "for its first two replies:\n"
      "  printf 'ReportLevels\\nReportStatus\\n' | ./virtual-printer --run \\\n"
      "    'virtual-printer://x/?error=060202&asleep=2' \\\n"
      "    ./commandtocorvantide 1 user title 1 ''\n"
      "\n"
      "URI is virtual-printer://NAME/?SETTING=VALUE&... with these settings, and their\n"
      "defaults in parentheses. Of the printer:\n");
  print_settings(stdout, false);
  std::printf("Of the simulated backend:\n");
  print_settings(stdout, true);
  return flush_output();
}

int check(const char* uri, std::string_view via) {
  constexpr struct {
    std::string_view name;
    Attachment attachment;
  } ATTACHMENTS[] = {
      {"job", Attachment::Job}, {"socket", Attachment::Socket}, {"usb", Attachment::Usb}};
  Settings settings;
  for (const auto& [name, attachment] : ATTACHMENTS)
    if (name == via) return parse_settings(uri, attachment, settings) ? 0 : 1;
  std::fprintf(stderr,
               "ERROR: virtual-printer: a printer is attached through job, socket or usb\n");
  return 1;
}

// Makes a descriptor the one that a process expects at `place`.
bool move_descriptor(int fd, int place) {
  if (fd == place) return true;
  if (dup2(fd, place) != -1 && close(fd) == 0) return true;
  std::perror("ERROR: virtual-printer: cannot move a descriptor");
  return false;
}

int run_backend(const char* device_uri) {
  Settings settings;
  if (device_uri == nullptr) {
    std::fprintf(stderr, "ERROR: virtual-printer: DEVICE_URI is not set in the environment\n");
    return CUPS_BACKEND_FAILED;
  }
  if (!parse_settings(device_uri, Attachment::Job, settings)) return CUPS_BACKEND_FAILED;
  serve_job(settings);
  return CUPS_BACKEND_OK;
}

int listen_on(const char* port_text, const char* uri) {
  unsigned port = 0;
  if (!read_number(port_text, 65535, port)) {
    std::fprintf(stderr, "ERROR: virtual-printer: \"%s\" is not a port, 0 to 65535\n", port_text);
    return 1;
  }
  Settings settings;
  if (!parse_settings(uri, Attachment::Socket, settings)) return 1;
  const int server = open_network(port);
  if (server == -1) {
    std::fprintf(stderr, "ERROR: virtual-printer: cannot listen on port %u of 127.0.0.1: %s\n",
                 port, std::strerror(errno));
    return 1;
  }
  std::printf("socket://127.0.0.1:%u/?snmp=false&waiteof=false\n", port);
  if (flush_output() != 0) return 1;
  serve_network(server, settings.printer);
}

// Executes the filter in this process, so that the caller sees its exit status and signals reach
// it. The printer is a child that exits when the filter has exited or the printer dies. The back
// channel is blocking, as in a shell; the scheduler's is not, and a filter must support both.
int run_filter(const char* uri, char** filter) {
  Settings settings;
  if (!parse_settings(uri, Attachment::Job, settings)) return 1;

  // Opens 0 to 4, so that no channel is created on a descriptor that another one needs.
  int null = 0;
  while ((null = open("/dev/null", O_RDWR | O_CLOEXEC)) != -1 && null <= CUPS_SC_FD) continue;

  int data[2];
  int back[2];
  int side[2];
  if (null == -1 || pipe2(data, O_CLOEXEC) != 0 || pipe2(back, O_CLOEXEC) != 0 ||
      socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, side) != 0) {
    std::perror("ERROR: virtual-printer: cannot create the channels");
    return 1;
  }

  const pid_t printer = fork();
  if (printer == -1) {
    std::perror("ERROR: virtual-printer: cannot start the printer");
    return 1;
  }
  if (printer == 0) {
    if (!move_descriptor(data[0], 0) || !move_descriptor(back[1], 3) ||
        !move_descriptor(side[1], 4))
      return 1;
    closefrom(CUPS_SC_FD + 1);
    serve_job(settings);
    return 0;
  }
  if (!move_descriptor(data[1], 1) || !move_descriptor(back[0], 3) || !move_descriptor(side[0], 4))
    return 1;
  std::signal(SIGPIPE, SIG_DFL);
  execvp(filter[0], filter);
  std::fprintf(stderr, "ERROR: virtual-printer: cannot execute %s: %s\n", filter[0],
               std::strerror(errno));
  return 127;
}

}  // namespace

int main(int argc, char* argv[]) {
  const std::string_view option = argc > 1 ? argv[1] : "";
  if (argc == 2 && option == "--help") return help();

  std::setvbuf(stderr, nullptr, _IOLBF, BUFSIZ);  // one write a line: the log pipe is shared
  if (argc >= 4 && option == "--run") return run_filter(argv[2], argv + 3);
  if (argc == 4 && option == "--listen") return listen_on(argv[2], argv[3]);
  if ((argc == 3 || argc == 4) && option == "--check")
    return check(argv[2], argc == 4 ? argv[3] : "job");
  if (argc == 6 && option.substr(0, 1) != "-") return run_backend(cupsBackendDeviceURI(argv));

  std::fprintf(stderr, "ERROR: virtual-printer: wrong arguments; try virtual-printer --help\n");
  return 1;
}
