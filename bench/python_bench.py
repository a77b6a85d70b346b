# SPDX-License-Identifier: Apache-2.0
"""python_bench.py BUILD: the Python module against btconf-cli, on nvmsim at 38400 bit/s.

- m.read() (open, probe, read every setting, save the file) against btconf-cli's
  in-process read into a file (cli_bench --time-read), rounds taken in turn;
  bar: the median within 1.05 times btconf-cli's;
- one module programmed (open, read, rename, write, verify) against four
  modules from four threads at once; bar: under 2 times one.
Exit status 1 when a bar is missed.
"""
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import threading
import time

build = sys.argv[1] if len(sys.argv) > 1 else "build"
sys.path.insert(0, os.path.join(build, "python"))
import btconf  # noqa: E402

ROUNDS = 21
work = tempfile.mkdtemp(prefix="python-bench-")


def start(*args):
    """nvmsim serving one module, or four with --count 4: their devices."""
    link = os.path.join(work, "nvm")
    sim = subprocess.Popen([os.path.join(build, "bin", "nvmsim"), "--link", link, *args],
                           stdout=subprocess.DEVNULL)
    devices = [link + str(i) for i in range(4)] if args else [link]
    while not all(os.path.exists(d) for d in devices):
        time.sleep(0.05)
    return sim, devices


def python_read():
    start = time.perf_counter()
    with btconf.open(devices[0]) as m:
        m.read().save(os.path.join(work, "py.bcf"))
    return (time.perf_counter() - start) * 1000


def cli_read():
    out = subprocess.run([os.path.join(build, "bin", "cli_bench"), "--time-read", devices[0],
                          os.path.join(work, "cli.bcf")], capture_output=True, text=True, check=True)
    return float(out.stdout)


def program(device, unit):
    with btconf.open(device) as m:
        s = m.read()
        s["Bluetooth Device Name"] = "Sensor-%04d" % unit
        m.write(s)
        assert m.verify(s) == []


def timed(devices):
    threads = [threading.Thread(target=program, args=(d, i)) for i, d in enumerate(devices)]
    start = time.perf_counter()
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    return (time.perf_counter() - start) * 1000


sim, devices = start()
try:
    py, cli = [], []
    for _ in range(ROUNDS):
        py.append(python_read())
        cli.append(cli_read())
    ratio = statistics.median(py) / statistics.median(cli)
    print("  m.read() (open, read, save)    median %6.1f ms" % statistics.median(py))
    print("  btconf-cli read, in-process     median %6.1f ms" % statistics.median(cli))
    print("  ratio %.3f (bar 1.05): %s" % (ratio, "OK" if ratio <= 1.05 else "MISSED"))
    sim.terminate()
    sim.wait()
    sim, devices = start("--count", "4")
    one = statistics.median(timed(devices[:1]) for _ in range(5))
    four = statistics.median(timed(devices) for _ in range(5))
    print("  one module programmed           median %6.1f ms" % one)
    print("  four modules from four threads  median %6.1f ms" % four)
    print("  ratio %.2f (bar 2): %s" % (four / one, "OK" if four < 2 * one else "MISSED"))
    failed = ratio > 1.05 or four >= 2 * one
finally:
    sim.terminate()
    sim.wait()
    shutil.rmtree(work)
sys.exit(1 if failed else 0)
