/* A Modbus RTU server on libmodbus, for tests of the master against a stack that is not ours.
 * usage: libmodbus_server PORT SERVER_ADDRESS
 * Says "ready" when it listens and ends with its input. Its tables, by address a:
 * holding a * 7 + 3, input a * 13 + 5 (modulo 65536), coil a % 3 == 0, discrete input a % 5 == 0.
 * A line "registers FIRST COUNT" or "coils FIRST COUNT" on its input is answered by a line of what
 * holding registers or coils hold, in decimal.
 */
#include <errno.h>
#include <modbus.h>
#include <poll.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

enum { kCells = 10000 };

static void fill(modbus_mapping_t* tables) {
  for (int a = 0; a < kCells; ++a) {
    tables->tab_registers[a] = (uint16_t)(a * 7 + 3);
    tables->tab_input_registers[a] = (uint16_t)(a * 13 + 5);
    tables->tab_bits[a] = a % 3 == 0;
    tables->tab_input_bits[a] = a % 5 == 0;
  }
}

static int fail(const char* what) {
  fprintf(stderr, "libmodbus_server: %s: %s\n", what, modbus_strerror(errno));
  return 1;
}

/* 0 when there is no further question. */
static int answer(const modbus_mapping_t* tables) {
  char line[64], table[16];
  int first, count;
  if (fgets(line, sizeof line, stdin) == NULL) return 0;
  const int fields = sscanf(line, "%15s %d %d", table, &first, &count);
  if (fields != 3 || first < 0 || count < 0 || count > kCells || first > kCells - count) {
    printf("no such cells\n");
  } else {
    const int bits = strcmp(table, "coils") == 0;
    for (int a = first; a < first + count; ++a) {
      printf("%d ", bits ? tables->tab_bits[a] : tables->tab_registers[a]);
    }
    printf("\n");
  }
  fflush(stdout);
  return 1;
}

static void serve(modbus_t* line, modbus_mapping_t* tables) {
  struct pollfd ends[] = {{STDIN_FILENO, POLLIN, 0}, {modbus_get_socket(line), POLLIN, 0}};
  for (;;) {
    if (poll(ends, 2, -1) < 0) continue;
    if (ends[0].revents != 0 && !answer(tables)) return;
    if (ends[1].revents == 0) continue;
    uint8_t request[MODBUS_RTU_MAX_ADU_LENGTH];
    const int length = modbus_receive(line, request);
    if (length > 0) modbus_reply(line, request, length, tables);
  }
}

int main(int argc, char** argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: libmodbus_server PORT SERVER_ADDRESS\n");
    return 2;
  }
  modbus_t* line = modbus_new_rtu(argv[1], 115200, 'N', 8, 1);
  modbus_mapping_t* tables = modbus_mapping_new(kCells, kCells, kCells, kCells);
  if (line == NULL || tables == NULL) return fail("start");
  fill(tables);
  if (modbus_set_slave(line, atoi(argv[2])) != 0) return fail("server address");
  if (modbus_connect(line) != 0) return fail(argv[1]);
  setvbuf(stdin, NULL, _IONBF, 0); /* poll sees every line that has not been read */
  printf("ready\n");
  fflush(stdout);
  serve(line, tables);
  modbus_mapping_free(tables);
  modbus_close(line);
  modbus_free(line);
}
