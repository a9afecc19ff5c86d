#!/usr/bin/env python3
"""A small agent: Python's standard library and the tool ubus.

  agent.py stations               lists the stations
  agent.py switch NAME on|off     switches the networks of this name, whichever radio they are on
  agent.py passwords              tells of wrong passwords, until it is ended
"""

import json
import os
import signal
import subprocess
import sys
import threading


def call(path, method, **arguments):
    """The reply to a call; a failure stands in the reply, and no reply is one too."""
    command = ["ubus", "-S", "call", path, method, json.dumps(arguments)]
    tool = subprocess.run(command, capture_output=True, text=True)
    if tool.returncode or not tool.stdout:
        sys.exit(f"agent: {path} {method}: no answer {tool.stderr.strip()}")
    reply = json.loads(tool.stdout)
    if reply.get("result") == "1":
        sys.exit(f"agent: {path} {method}: {reply['failreason']}")
    return reply


def stations():
    for station in call("wexond.laninfo", "list")["wexond.laninfo"]:
        print(station["mac"], station["ipaddr"], station["devname"])


def switch(name, state):
    enable = {"on": "yes", "off": "no"}[state]
    networks = [f"{radio}.{network['idx']}" for radio in ("wexond.wifi.1.ap", "wexond.wifi.2.ap")
                for network in call(radio, "list")[radio] if network["ssid"] == name]
    for network in networks:
        call(network, "set", enable=enable)
        print(network)
    if not networks:
        sys.exit(f"agent: no network {name}")


def passwords():
    """Notifications and news of the bus come on one pipe, a name and a message on each line.

    When the daemon starts anew, its objects are new: what was subscribed to is no more.
    """
    source, pipe = os.pipe()

    def start(*words):
        return subprocess.Popen(["ubus", *words], stdout=pipe, stderr=subprocess.DEVNULL)

    def close_when_listening_ends():
        listener.wait()
        os.close(pipe)

    for ending in (signal.SIGINT, signal.SIGTERM):
        signal.signal(ending, lambda *_: sys.exit(0))
    listener = start("listen", "ubus.object.add")
    subscriber = start("subscribe", "wexond.wifi")
    threading.Thread(target=close_when_listening_ends, daemon=True).start()
    try:
        for line in os.fdopen(source):
            for name, message in json.loads(line).items():
                if name == "passworderror":
                    print("wrong password:", message["stamac"], flush=True)
                elif message.get("path") == "wexond.wifi":
                    subscriber.kill()
                    subscriber = start("subscribe", "wexond.wifi")
    finally:
        listener.kill()
        subscriber.kill()
    sys.exit("agent: no bus, or none that tells of its objects")


match sys.argv[1:]:
    case ["stations"]:
        stations()
    case ["switch", name, ("on" | "off") as state]:
        switch(name, state)
    case ["passwords"]:
        passwords()
    case _:
        sys.exit(__doc__)
