/* A Modbus RTU server on libmodbus, for tests of the master against a stack that is not ours.
 * usage: libmodbus_server PORT SERVER_ADDRESS
 * Says "ready" when it listens and ends when it is killed. Its tables, by address a:
 * holding a * 7 + 3, input a * 13 + 5 (modulo 65536), coil a % 3 == 0, discrete input a % 5 == 0.
 */
#include <errno.h>
#include <modbus.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

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
  printf("ready\n");
  fflush(stdout);
  for (;;) {
    uint8_t request[MODBUS_RTU_MAX_ADU_LENGTH];
    const int length = modbus_receive(line, request);
    if (length > 0) modbus_reply(line, request, length, tables);
  }
}
