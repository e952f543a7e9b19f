#!/usr/bin/python3
"""A Modbus RTU server on pymodbus, for tests of the master against a stack that is not ours.

usage: pymodbus_server.py PORT SERVER_ADDRESS
Says "ready" when it listens and ends when it is killed. Its tables, by address a: holding
a * 7 + 3, input a * 13 + 5 (modulo 65536), coil a % 3 == 0, discrete input a % 5 == 0.
"""

import asyncio
import sys

from pymodbus.datastore import (
    ModbusSequentialDataBlock,
    ModbusServerContext,
    ModbusSlaveContext,
)
from pymodbus.server.async_io import ModbusSerialServer
from pymodbus.transaction import ModbusRtuFramer

CELLS = 10000


def tables():
    block = ModbusSequentialDataBlock
    return ModbusSlaveContext(
        hr=block(0, [(a * 7 + 3) % 65536 for a in range(CELLS)]),
        ir=block(0, [(a * 13 + 5) % 65536 for a in range(CELLS)]),
        co=block(0, [a % 3 == 0 for a in range(CELLS)]),
        di=block(0, [a % 5 == 0 for a in range(CELLS)]),
        zero_mode=True,
    )


async def serve(port, address):
    server = ModbusSerialServer(
        ModbusServerContext(slaves={address: tables()}, single=False),
        framer=ModbusRtuFramer,
        port=port,
        baudrate=115200,
    )
    await server.start()
    print("ready", flush=True)
    await server.serve_forever()


if len(sys.argv) != 3:
    sys.exit(__doc__)
asyncio.run(serve(sys.argv[1], int(sys.argv[2])))
