#!/usr/bin/env python3
"""The demo instrument's SCPI server as a VISA resource, through PyVISA and
its pure-Python backend: identity, a measurement, a provoked error read back,
then a clean stop on SIGINT.

Usage: test_pyvisa.py DEMO_INSTRUMENT [EMULATOR ...]
Exit status 0 passed, 1 failed, 77 skipped (PyVISA is not installed)."""
import re
import signal
import subprocess
import sys
import tempfile
import threading

try:
    import pyvisa
    import pyvisa_py  # noqa: F401 (the "@py" backend)
except ImportError as error:
    print(f"SKIPPED: PyVISA is not installed ({error}); "
          "Debian packages python3-pyvisa and python3-pyvisa-py", flush=True)
    sys.exit(77)


def check(condition, what):
    if not condition:
        raise AssertionError(what)


def main():
    command = sys.argv[2:] + [sys.argv[1]]
    with tempfile.TemporaryDirectory() as root:
        server = subprocess.Popen(command + ["--root", root, "--serve", "--port", "0"],
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        output, port = [], None
        for line in server.stdout:
            output.append(line)
            found = re.match(r"listening on 127\.0\.0\.1:(\d+)$", line.strip())
            if found:
                port = found.group(1)
                break
        reader = threading.Thread(target=lambda: output.extend(server.stdout))
        reader.start()
        try:
            check(port is not None, "the server did not start:\n" + "".join(output))
            rm = pyvisa.ResourceManager("@py")
            inst = rm.open_resource(f"TCPIP::127.0.0.1::{port}::SOCKET", read_termination="\n",
                                    write_termination="\n", timeout=30000)
            idn = inst.query("*IDN?")
            check(re.fullmatch(r"KxTamarind,Demo Instrument,100001,\d+\.\d+\.\d+", idn), idn)
            volts = inst.query("MEAS:VOLT? 2")
            check(float(volts) == 2.002625, volts)
            inst.write("DIAG:FAIL 1")
            error = inst.query("SYST:ERR?")
            check(error.startswith('-300,"Device-specific error;component error 0x80001007'),
                  error)
            check(inst.query("SYST:ERR?") == '0,"No error"', "error queue not empty")
            inst.close()
            rm.close()
        finally:
            server.send_signal(signal.SIGINT)
            try:
                status = server.wait(timeout=60)
            finally:
                server.kill()
                reader.join()
        text = "".join(output)
        check(status == 0, f"exit status {status}:\n{text}")
        check("leak check: all 7 components released" in text, text)
    print("PyVISA session passed:", idn)


if __name__ == "__main__":
    try:
        main()
    except AssertionError as failure:
        print("FAILED:", failure, flush=True)
        sys.exit(1)
