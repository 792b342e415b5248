/* The minimum work of a driver: waits for a packet from the host, receives it and sends five bytes to the device; on a
   terminal, waits until they have left. */

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

static int ConnectTo(const char* port) {
  const int on = 1;
  struct sockaddr_in address = {.sin_family = AF_INET, .sin_port = htons((unsigned short)atoi(port))};
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int link = socket(AF_INET, SOCK_STREAM, 0);
  if (link < 0 || connect(link, (struct sockaddr*)&address, sizeof address) != 0) {
    perror("minimal_relay");
    exit(1);
  }
  setsockopt(link, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  return link;
}

static int OpenTerminal(const char* path) {
  const int line = open(path, O_RDWR | O_NOCTTY);
  struct termios settings;
  if (line < 0 || tcgetattr(line, &settings) != 0) {
    perror("minimal_relay");
    exit(1);
  }
  cfmakeraw(&settings);
  tcsetattr(line, TCSANOW, &settings);
  return line;
}

int main(int argument_count, char** arguments) {
  if (argument_count != 3) {
    fputs("usage: minimal_relay HOST-PORT DEVICE-PORT|TERMINAL\n", stderr);
    return 2;
  }
  const int host = ConnectTo(arguments[1]);
  const int is_terminal = arguments[2][0] == '/';
  const int device = is_terminal ? OpenTerminal(arguments[2]) : ConnectTo(arguments[2]);
  for (;;) {
    static char packet[4096];
    struct pollfd waiting = {host, POLLIN, 0};
    if (poll(&waiting, 1, 200) <= 0) continue;
    if (recv(host, packet, sizeof packet, 0) <= 0) return 0;
    if (write(device, "0102U", 5) != 5) return 1;
    if (is_terminal) tcdrain(device);
  }
}
