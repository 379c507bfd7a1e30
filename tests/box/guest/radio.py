#!/usr/bin/python3
"""The box's adapter, as hardware: the kernel's virtual controller on this side, the emulated one behind a serial port."""

import errno
import os
import sys

sys.path.insert(0, f'{os.path.dirname(os.path.abspath(__file__))}/../../vm/guest')
from relay import COMMAND, EVENT, Relay

INQUIRY, CANCEL = 0x0401, 0x0402
COMPLETE, FOUND, FOUND_STRENGTH, FOUND_MORE = 0x01, 0x02, 0x22, 0x2f


def command_complete(opcode):
    return bytes([EVENT, 0x0e, 4, 1]) + opcode.to_bytes(2, 'little') + b'\0'


def command_status(opcode):
    return bytes([EVENT, 0x0f, 4, 0, 1]) + opcode.to_bytes(2, 'little')


class Radio(Relay):
    """The emulator dies of an inquiry that is broken off, which every search of a person does: here it runs to its end,
    unheard, and one that begins meanwhile goes on with it."""

    runs = heard = False

    def outward(self, packet):
        opcode = int.from_bytes(packet[1:3], 'little') if packet[0] == COMMAND else 0
        if opcode == CANCEL and self.runs:
            self.heard = False
            self.near.write(command_complete(CANCEL))
        elif opcode == INQUIRY and self.runs:
            self.heard = True
            self.near.write(command_status(INQUIRY))
        else:
            self.runs = self.runs or opcode == INQUIRY
            self.heard = self.heard or opcode == INQUIRY
            super().outward(packet)

    def inward(self, packet):
        if packet[0] == EVENT and packet[1] in (COMPLETE, FOUND, FOUND_STRENGTH, FOUND_MORE):
            heard = self.heard
            if packet[1] == COMPLETE:
                self.runs = self.heard = False
            if not heard:
                return
        try:
            super().inward(packet)
        except OSError as error:
            if error.errno != errno.ENXIO: # the kernel has switched it off meanwhile
                raise


if __name__ == '__main__':
    radio = Radio('box', 'vhci', 'port:air')
    radio.rssi = -42
    radio.run()
