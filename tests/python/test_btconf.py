# SPDX-License-Identifier: Apache-2.0
"""The Python module btconf against the virtual module, as a bench script uses it."""
import os
import pathlib
import shutil
import subprocess
import tempfile
import threading
import time
import unittest

import btconf

BIN = os.environ["BTCONF_BIN"]
RICH_STATE = os.path.join(os.environ["BTCONF_TEST_DATA"], "rich.state")
NAME, BAUD = "Bluetooth Device Name", "Serial baudrate"
# The commands that change a setting, by opcode.
WRITES = {0x13, 0x15, 0x17, 0x19, 0x1D, 0x1F, 0x67, 0x69, 0xC1, 0xC3, 0xC5, 0xC7, 0xC9, 0xCB,
          0xCD, 0xD3, 0xD5, 0xD7, 0xD9, 0xDB, 0xF1, 0xF4, 0xF7}


class Sim:
    """nvmsim on pseudo-terminals: devices[i], and the frames module i heard."""

    def __init__(self, *args, count=1, state=None):
        self.dir = tempfile.mkdtemp(prefix="btconf-py-")
        link, trace = os.path.join(self.dir, "nvm"), os.path.join(self.dir, "trace")
        extra = ["--count", str(count)] if count > 1 else []
        if state:
            shutil.copy(state, os.path.join(self.dir, "state"))
            extra += ["--state", os.path.join(self.dir, "state")]
        self.proc = subprocess.Popen([os.path.join(BIN, "nvmsim"), "--link", link, "--trace",
                                      trace, *extra, *args], stdout=subprocess.DEVNULL)
        suffix = [str(i) for i in range(count)] if count > 1 else [""]
        self.devices, self.traces = [link + s for s in suffix], [trace + s for s in suffix]
        for _ in range(100):
            if all(os.path.exists(d) for d in self.devices):
                break
            time.sleep(0.05)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.proc.terminate()
        self.proc.wait()
        shutil.rmtree(self.dir)

    def written(self, i=0):
        """The opcodes of the setting changes module i heard, from now on."""
        with open(self.traces[i]) as f:
            lines = f.read().splitlines()[getattr(self, "seen", 0):]
        self.seen = getattr(self, "seen", 0) + len(lines)
        return {int(l.split()[1], 16) for l in lines if l.startswith("recv")} & WRITES

    def cli(self, *args):
        return subprocess.run([os.path.join(BIN, "btconf-cli"), *args], capture_output=True,
                              check=True)


class Btconf(unittest.TestCase):
    def test_read_is_the_file_btconf_cli_reads(self):
        with Sim(state=RICH_STATE) as sim:
            with btconf.open(sim.devices[0]) as m:
                steps = []
                s = m.read(progress=lambda at, of: steps.append((at, of)))
                s.save(os.path.join(sim.dir, "py.bcf"))
                self.assertEqual((s[NAME], m.identity["address"]),
                                 ("Line 4 Scanner", "0a 1b 2c 3d 4e 5f"))
            sim.cli("read", sim.devices[0], "-o", os.path.join(sim.dir, "cli.bcf"))
            files = [pathlib.Path(sim.dir, n).read_bytes() for n in ("py.bcf", "cli.bcf")]
            self.assertEqual(files[0], files[1])
            self.assertEqual(steps[-1][0], steps[-1][1])

    def test_write_sends_the_groups_that_hold_the_settings(self):
        # only= (or btconf-cli write --only), the setting commands sent, what
        # then differs from the settings
        cases = [
            ("all", None, WRITES - {0x17, 0x69}, []),
            ("name only", [NAME], {0x1D, 0x1F}, [BAUD]),
            ("speed only", [BAUD], {0x15, 0xD9}, [NAME]),
            ("cli --only", "cli", {0x1D, 0x1F}, [BAUD]),
        ]
        for label, only, sent, differ in cases:
            with self.subTest(label), Sim() as sim:
                with btconf.open(sim.devices[0]) as m:
                    s = m.read()
                    s[NAME], s[BAUD] = "Sensor-0001", "115200"
                    sim.written()
                    if only != "cli":
                        m.write(s, only=only)
                if only == "cli":
                    s.save(os.path.join(sim.dir, "unit.bcf"))
                    sim.cli("write", sim.devices[0], os.path.join(sim.dir, "unit.bcf"), "--only", NAME)
                self.assertEqual(sim.written(), sent)
                with btconf.open(sim.devices[0]) as m:
                    self.assertEqual([d[0] for d in m.verify(s)], differ)
                    self.assertEqual([d[0] for d in m.read().diff(s)], differ)

    def test_a_module_fault_raises_its_error_number(self):
        cases = [
            ("status:0x1d=253", btconf.ModuleStatus, 0x21D, 253),
            ("silent:0x14", btconf.NoAnswer, 0x114, 0),
            ("opcode:0x1c=0x1e", btconf.WrongAnswer, 0x11C, 0),
        ]
        for fault, kind, number, status in cases:
            with self.subTest(fault), Sim("--fault", fault) as sim, btconf.open(sim.devices[0]) as m:
                with self.assertRaises(kind) as caught:
                    s = m.read()
                    s[NAME] = "Sensor-0001"
                    m.write(s)
                e = caught.exception
                self.assertEqual((e.error, e.status), (number, status))
                self.assertEqual(e.texts[0], "Error - communication (0x%04x)" % number)
        with Sim("--fault", "silent") as sim, self.assertRaises(btconf.NoAnswer) as caught:
            btconf.open(sim.devices[0])
        self.assertEqual(caught.exception.texts[0], "Norvane Bluetooth unit not found!")

    def test_four_modules_from_four_threads_take_about_the_time_of_one(self):
        def program(device, unit):
            with btconf.open(device) as m:
                s = m.read()
                s[NAME] = "Sensor-%04d" % unit
                m.write(s)
                results[unit] = m.verify(s)

        with Sim(count=4) as sim:
            results = {}
            start = time.monotonic()
            program(sim.devices[0], 0)
            one = time.monotonic() - start
            threads = [threading.Thread(target=program, args=(d, i)) for i, d in enumerate(sim.devices)]
            start = time.monotonic()
            for t in threads:
                t.start()
            for t in threads:
                t.join()
            four = time.monotonic() - start
            self.assertEqual(results, {i: [] for i in range(4)})
            self.assertLess(four, 2 * one)

    def test_load_refuses_a_hostile_file_and_validate_names_the_failure(self):
        d = tempfile.mkdtemp(prefix="btconf-py-")
        self.addCleanup(shutil.rmtree, d)
        files = {"binary": b"Bluetooth Device Name: a\0b\r\n", "huge": b"#" * (1024 * 1024 + 1),
                 "no settings": b"Device not paired\r\n", "long name": b"Bluetooth Device Name: "
                 + b"x" * 40 + b"\r\n"}
        for name, data in files.items():
            with open(os.path.join(d, name), "wb") as f:
                f.write(data)
        os.mkfifo(os.path.join(d, "fifo"))
        for name in ["binary", "huge", "no settings", "fifo", "missing", "."]:
            with self.subTest(name), self.assertRaises(btconf.BadValue):
                btconf.Settings.load(os.path.join(d, name))
        failures = btconf.Settings.load(os.path.join(d, "long name")).validate()
        self.assertEqual([(f.headline, f.error, f.help_context) for f in failures],
                         [("Invalid Bluetooth name", 0, 22)])


if __name__ == "__main__":
    unittest.main()
