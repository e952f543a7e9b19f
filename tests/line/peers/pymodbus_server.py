#!/usr/bin/python3
"""A Modbus RTU server on pymodbus, for tests of the master against a stack that is not ours.

usage: pymodbus_server.py PORT SERVER_ADDRESS
Says "ready" when it listens and ends with its input. Its tables, by address a: holding
a * 7 + 3, input a * 13 + 5 (modulo 65536), coil a % 3 == 0, discrete input a % 5 == 0.
A line "registers FIRST COUNT" or "coils FIRST COUNT" on its input is answered by a line of what
holding registers or coils hold, in decimal.
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


def answer(cells, question):
    table, first, count = question.split()
    values = cells.getValues({"coils": 1, "registers": 3}[table], int(first), int(count))
    return " ".join(str(int(value)) for value in values)


async def answer_questions(cells):
    questions = asyncio.StreamReader()
    await asyncio.get_running_loop().connect_read_pipe(
        lambda: asyncio.StreamReaderProtocol(questions), sys.stdin
    )
    while question := await questions.readline():
        print(answer(cells, question.decode()), flush=True)


async def serve(port, address):
    cells = tables()
    server = ModbusSerialServer(
        ModbusServerContext(slaves={address: cells}, single=False),
        framer=ModbusRtuFramer,
        port=port,
        baudrate=115200,
    )
    await server.start()
    print("ready", flush=True)
    serving = asyncio.create_task(server.serve_forever())
    await answer_questions(cells)
    serving.cancel()


if len(sys.argv) != 3:
    sys.exit(__doc__)
asyncio.run(serve(sys.argv[1], int(sys.argv[2])))
