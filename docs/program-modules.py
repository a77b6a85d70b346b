#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Programs a configuration file onto the modules on several ports at once, each
with a name of its own (Sensor-0001, Sensor-0002, ...), and prints one line a
module.

    docs/program-modules.py unit.bcf /dev/ttyUSB0 /dev/ttyUSB1 ...
"""
import sys
import threading
import time

import btconf

btconf.Settings.load(sys.argv[1])  # a file it refuses stops here, before any module
print_lock = threading.Lock()


def program(device, unit):
    start = time.monotonic()
    try:
        with btconf.open(device) as m:
            mine = btconf.Settings.load(sys.argv[1])
            mine["Bluetooth Device Name"] = "Sensor-%04d" % unit
            m.write(mine)
            differ = m.verify(mine)
            result = "OK" if not differ else "differs: " + ", ".join(d[0] for d in differ)
            line = "%s  %s  %s  %s" % (device, m.identity["address"],
                                       mine["Bluetooth Device Name"], result)
    except btconf.ModuleError as e:
        line = "%s  FAILED (0x%04x) %s" % (device, e.error, " / ".join(e.texts))
    with print_lock:
        print("%s  %.2f s" % (line, time.monotonic() - start), flush=True)


threads = [threading.Thread(target=program, args=(device, unit))
           for unit, device in enumerate(sys.argv[2:], start=1)]
for t in threads:
    t.start()
for t in threads:
    t.join()
