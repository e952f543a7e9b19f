"""The peer pymodbus: its synchronous client for one line, its asynchronous one for several."""

import argparse
import asyncio
import json
import os
import resource
import sys
import time

from pymodbus.client import AsyncModbusSerialClient, ModbusSerialClient

SERVER = 1
WARM_UP = 0.15


class Measure:
    """Transactions per second of each line, from its first completion to its last."""

    def __init__(self, options):
        self.start = time.monotonic() + WARM_UP
        self.end = self.start + options.seconds
        self.lines = [None] * len(options.port)
        self.before = self.after = None

    @staticmethod
    def cost():
        usage = resource.getrusage(resource.RUSAGE_SELF)
        return time.monotonic(), usage.ru_utime + usage.ru_stime, usage.ru_nvcsw

    def completed(self, index):
        """False when there have been enough."""
        now = time.monotonic()
        if now < self.start:
            return True
        line = self.lines[index]
        if line is None:
            self.lines[index] = [now, now, 0]
            self.before = self.before or self.cost()
            return True
        line[1] = now
        line[2] += 1
        if now < self.end:
            return True
        self.after = self.after or self.cost()
        return False

    def print(self):
        rates = [line[2] / (line[1] - line[0]) if line and line[2] else 0 for line in self.lines]
        seconds = self.after[0] - self.before[0]
        print(json.dumps({"rates": rates, "processor": (self.after[1] - self.before[1]) / seconds,
                          "sleeps": (self.after[2] - self.before[2]) / (sum(rates) * seconds)}))


def request(client, options):
    """What the options ask for; of the asynchronous client it is to be awaited."""
    if options.function == 1:
        return client.read_coils(0, options.count, SERVER)
    if options.function == 3:
        return client.read_holding_registers(0, options.count, SERVER)
    if options.function == 6:
        return client.write_register(0, 0x1234, SERVER)
    return client.write_registers(0, [0x1234] * options.count, SERVER)


def require(reply):
    if reply.isError():
        sys.exit(f"pymodbus: {reply}")


def run_one(options, measure):
    client = ModbusSerialClient(options.port[0], baudrate=options.baud, stopbits=2)
    if options.silence >= 0:
        client.silent_interval = options.silence / 1e6
    client.connect()
    while True:
        require(request(client, options))
        if not measure.completed(0):
            return


async def run_line(options, measure, index):
    client = AsyncModbusSerialClient(options.port[index], baudrate=options.baud, stopbits=2)
    await client.connect()
    while True:
        require(await request(client.protocol, options))
        if not measure.completed(index):
            return


async def run_all(options, measure):
    lines = [asyncio.create_task(run_line(options, measure, i)) for i in range(len(options.port))]
    await asyncio.wait(lines, return_when=asyncio.FIRST_COMPLETED)
    for line in lines:
        if line.done():
            line.result()
    measure.print()
    sys.stdout.flush()
    os._exit(0)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--port", nargs="+", required=True)
    parser.add_argument("--function", type=int, default=3)
    parser.add_argument("--count", type=int, default=10)
    parser.add_argument("--seconds", type=float, default=1)
    parser.add_argument("--silence", type=int, default=0)
    parser.add_argument("--baud", type=int, default=115200)
    options = parser.parse_args()
    measure = Measure(options)
    if len(options.port) > 1:
        asyncio.run(run_all(options, measure))
    run_one(options, measure)
    measure.print()


if __name__ == "__main__":
    main()
