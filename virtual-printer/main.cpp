// SPDX-License-Identifier: Apache-2.0
//
// virtual-printer: a ribbon photo printer that is not there, attached to a job or to the network.
#include <cups/backend.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "job.h"
#include "network.h"
#include "settings.h"

namespace {

// The status of a run whose output ends here.
int end_output() {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return 0;
  std::perror("ERROR: virtual-printer: cannot write");
  return 1;
}

int help(std::FILE* out) {
  std::fprintf(out,
               "Usage: virtual-printer --run URI FILTER [ARG...]\n"
               "       virtual-printer --listen PORT URI\n"
               "       virtual-printer job-id user title copies options [file]\n"
               "       virtual-printer\n"
               "\n"
               "A ribbon photo printer that is not there. The first form becomes FILTER, wired\n"
               "to the printer as the scheduler would wire it. The second is a network printer\n"
               "at a port of 127.0.0.1, 0 for a free one: it prints the device URI for lpadmin,\n"
               "and ends at Ctrl-C. The third is a CUPS back end that takes the URI from\n"
               "DEVICE_URI; the fourth lists its device.\n"
               "\n"
               "Example, in the folder of a build: a printer with an error that sleeps through\n"
               "two replies:\n"
               "  printf 'ReportLevels\\nReportStatus\\n' | ./virtual-printer --run \\\n"
               "    'virtual-printer://here/?error=060202&asleep=2' \\\n"
               "    ./commandtocorvantide 1 user title 1 ''\n"
               "\n"
               "The URI is virtual-printer://NAME/?KEY=VALUE&... with any of these keys:\n");
  print_keys(out, false);
  std::fprintf(out,
               "and, but for --listen, these of the back end, which sends a piece only once\n"
               "the one before has been read:\n");
  print_keys(out, true);
  return end_output();
}

// Where it has a device URI already, as one that is about to get a queue, it first looks at that.
int list_device() {
  Settings settings;
  const char* device_uri = std::getenv("DEVICE_URI");
  if (device_uri != nullptr && !parse_settings(device_uri, true, settings)) return 1;
  std::printf(
      "direct virtual-printer://printer/ \"Corvantide Virtual\" \"Virtual ribbon photo "
      "printer\"\n");
  return end_output();
}

bool take_place(int fd, int place) {
  if (dup2(fd, place) != -1) return true;
  std::perror("ERROR: virtual-printer: cannot wire a descriptor");
  return false;
}

int run_back_end(const char* device_uri, const char* path) {
  Settings settings;
  if (device_uri == nullptr) {
    std::fprintf(stderr,
                 "ERROR: virtual-printer: a back end needs DEVICE_URI in its environment\n");
    return CUPS_BACKEND_FAILED;
  }
  if (!parse_settings(device_uri, true, settings)) return CUPS_BACKEND_FAILED;
  if (path != nullptr) {
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file == -1) {
      std::perror("ERROR: virtual-printer: cannot open the file");
      return CUPS_BACKEND_FAILED;
    }
    if (!take_place(file, STDIN_FILENO)) return CUPS_BACKEND_FAILED;
  }
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
  if (!parse_settings(uri, false, settings)) return 1;
  const int server = open_network(port);
  if (server == -1) {
    std::fprintf(stderr, "ERROR: virtual-printer: cannot listen on port %u of 127.0.0.1: %s\n",
                 port, std::strerror(errno));
    return 1;
  }
  std::printf("socket://127.0.0.1:%u/?snmp=false&waiteof=false\n", port);
  if (end_output() != 0) return 1;
  serve_network(server, settings.printer);
}

// Becomes the filter, so that its status, its signals and its end are the caller's to see; the
// printer lives in a child that ends when the filter does. The back channel is left blocking, as
// a shell leaves it: a filter has to cope with either.
int run_filter(const char* uri, char** filter) {
  Settings settings;
  if (!parse_settings(uri, true, settings)) return 1;

  // Occupies 0 to 4, so that no end of a channel is made where another one belongs.
  int null = 0;
  while ((null = open("/dev/null", O_RDWR | O_CLOEXEC)) != -1 && null <= CUPS_SC_FD) continue;

  int data[2];
  int back[2];
  int side[2];
  if (null == -1 || pipe2(data, O_CLOEXEC) != 0 || pipe2(back, O_CLOEXEC) != 0 ||
      socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, side) != 0) {
    std::perror("ERROR: virtual-printer: cannot make the channels");
    return 1;
  }

  const pid_t printer = fork();
  if (printer == -1) {
    std::perror("ERROR: virtual-printer: cannot start the printer");
    return 1;
  }
  if (printer == 0) {
    if (!take_place(data[0], 0) || !take_place(back[1], 3) || !take_place(side[1], 4)) return 1;
    closefrom(CUPS_SC_FD + 1);
    serve_job(settings);
    return 0;
  }

  if (!take_place(data[1], 1) || !take_place(back[0], 3) || !take_place(side[0], 4)) return 1;
  std::signal(SIGPIPE, SIG_DFL);
  execvp(filter[0], filter);
  std::perror("ERROR: virtual-printer: cannot run the filter");
  return 127;
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc == 1) return list_device();
  if (argc == 2 && std::strcmp(argv[1], "--help") == 0) return help(stdout);

  std::setvbuf(stderr, nullptr, _IOLBF, BUFSIZ);  // one write a line, in a log shared by a job
  if (argc >= 4 && std::strcmp(argv[1], "--run") == 0) return run_filter(argv[2], argv + 3);
  if (argc == 4 && std::strcmp(argv[1], "--listen") == 0) return listen_on(argv[2], argv[3]);
  if ((argc == 6 || argc == 7) && argv[1][0] != '-')
    return run_back_end(cupsBackendDeviceURI(argv), argc == 7 ? argv[6] : nullptr);

  std::fprintf(stderr, "ERROR: virtual-printer: wrong arguments; try virtual-printer --help\n");
  return 1;
}
