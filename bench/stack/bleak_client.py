"""A client that uses bleak, as many would. Writes one line per value, its bytes in hexadecimal."""
import asyncio

from bleak import BleakClient, BleakScanner

MOTION = "ef680408-9b35-4933-9b10-52ffa9740042"


async def main():
    device = await BleakScanner.find_device_by_filter(
        lambda device, advertisement: device.name == "Tramsel-1", timeout=60)
    async with BleakClient(device) as client:
        await client.start_notify(MOTION, lambda _, value: print(value.hex(), flush=True))
        await asyncio.Event().wait()


asyncio.run(main())
