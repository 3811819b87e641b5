#!/usr/bin/env python3
"""A computer with other USB serial adapters than this one has: /sys, /dev and /run/udev of a program
are folders of the test's, in a mount namespace of their own. Nothing of this computer is changed.

As a program: mocked_computer.py PLAN COMMAND..., inside a new mount namespace.
"""

import dataclasses
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

NEEDED_NODES = ("null", "zero", "full", "random", "urandom", "tty", "fd", "stdin", "stdout", "stderr")
UNSHARE = ["unshare", "--mount"] + ([] if os.geteuid() == 0 else ["--map-root-user"])


@dataclasses.dataclass
class Adapter:
    port: str = "ttyUSB0"  # empty: the driver gives it no port
    manufacturer: str = "FTDI"
    driver: str = "ftdi_sio"
    latency: int = 16  # ms
    mode: int = 0o660

    @property
    def usb(self):
        return f"/sys/devices/pci0000:00/usb1/1-{1 + int(self.port[-1] or 0) if self.port else 1}"

    @property
    def serial(self):
        return f"{self.usb}/1-1:1.0/{self.port}"

    @property
    def tty(self):
        return f"{self.serial}/tty/{self.port}"


def available():
    """Whether this computer lets the test have mounts of its own."""
    return subprocess.run([*UNSHARE, "true"], capture_output=True, check=False).returncode == 0


def run(adapters, command, rules=(), **options):
    """Runs `command` on a computer with these adapters and these udev rules (files) in /run."""
    plan = {"adapters": [dataclasses.asdict(adapter) for adapter in adapters],
            "rules": [str(rule) for rule in rules]}
    return subprocess.run([*UNSHARE, sys.executable, __file__, json.dumps(plan), *command],
                          text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, **options)


def mount(*arguments):
    subprocess.run(["mount", *arguments], check=True)


def write(path, text):
    path = pathlib.Path(path)
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(text)


def link(path, target):
    path = pathlib.Path(path)
    path.parent.mkdir(parents=True, exist_ok=True)
    path.symlink_to(os.path.relpath(target, path.parent))


def device(path, subsystem, driver, uevent):
    write(f"{path}/uevent", "".join(f"{key}={value}\n" for key, value in uevent.items()))
    os.makedirs(f"/sys/bus/{subsystem}/devices", exist_ok=True)
    link(f"{path}/subsystem", f"/sys/bus/{subsystem}")
    link(f"/sys/bus/{subsystem}/devices/{os.path.basename(path)}", path)
    if driver:
        os.makedirs(f"/sys/bus/{subsystem}/drivers/{driver}", exist_ok=True)
        link(f"{path}/driver", f"/sys/bus/{subsystem}/drivers/{driver}")


def plug(adapter):
    device(adapter.usb, "usb", "usb", {"DEVTYPE": "usb_device", "DRIVER": "usb"})
    for name, value in {"idVendor": "0403", "idProduct": "6001", "serial": "A10K0001",
                        "manufacturer": adapter.manufacturer, "product": "FT232R USB UART"}.items():
        write(f"{adapter.usb}/{name}", value + "\n")
    if not adapter.port:
        return
    device(adapter.serial, "usb-serial", adapter.driver, {"DRIVER": adapter.driver})
    write(f"{adapter.serial}/latency_timer", f"{adapter.latency}\n")
    number = adapter.port.removeprefix("ttyUSB")
    write(f"{adapter.tty}/uevent", f"MAJOR=188\nMINOR={number}\nDEVNAME={adapter.port}\n")
    write(f"{adapter.tty}/dev", f"188:{number}\n")
    # udev's own notes, by which Qt knows an adapter.
    write(f"/run/udev/data/c188:{number}", "".join(f"E:{line}\n" for line in (
        f"ID_VENDOR={adapter.manufacturer}", "ID_MODEL=FT232R_USB_UART", "ID_SERIAL_SHORT=A10K0001")))
    os.makedirs("/sys/class/tty", exist_ok=True)
    link(f"{adapter.tty}/subsystem", "/sys/class/tty")
    link(f"/sys/class/tty/{adapter.port}", adapter.tty)
    write(f"/dev/{adapter.port}", "")
    os.chmod(f"/dev/{adapter.port}", adapter.mode)


def mock(plan, work):
    """Puts the plan's computer in the place of this one, for this process and its children."""
    rules = [(pathlib.Path(rule).name, pathlib.Path(rule).read_text()) for rule in plan["rules"]]
    real_dev = f"{work}/dev"
    os.mkdir(real_dev)
    mount("--rbind", "/dev", real_dev)
    for folder in ("/sys", "/dev", "/run"):
        mount("-t", "tmpfs", "none", folder)
    for name in NEEDED_NODES:
        os.symlink(f"{real_dev}/{name}", f"/dev/{name}")
    os.makedirs("/run/udev/rules.d")
    for name, text in rules:
        write(f"/run/udev/rules.d/{name}", text)
    for adapter in plan["adapters"]:
        plug(Adapter(**adapter))


def main(plan, *command):
    work = tempfile.mkdtemp()
    os.chmod(work, 0o755)
    try:
        mock(json.loads(plan), work)
        environment = {**os.environ, "SYSTEMD_DEVICE_VERIFY_SYSFS": "0"}
        return subprocess.run(command, env=environment, check=False).returncode
    finally:
        subprocess.run(["umount", "--lazy", f"{work}/dev"], check=False)
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
