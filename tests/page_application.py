"""An application for the page's test. At each SIGUSR1 it accepts all settings but values with "13"."""
import json
import os
import re
import signal
import sys

signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGUSR1])
os.chdir(sys.argv[1])
while True:
    with open("state.json", encoding="utf-8") as file:
        state = json.load(file)
    state["revision"] += 1
    state["refusals"] = []
    saved = []
    if os.path.exists("settings_xml.txt"):
        with open("settings_xml.txt", encoding="utf-8", newline="\n") as file:
            saved = re.findall(r"^  <([^>]*)>(.*)</\1>$", file.read(), re.M)
    for name, value in saved:
        if "13" in value:
            reason = f"{name}: {value} brings bad luck"
            state["refusals"].append({"name": name, "value": value, "reason": reason})
            continue
        for setting in state["settings"]:
            if setting["name"] == name:
                setting["value"] = value
    with open("state.json.new", "w", encoding="utf-8") as file:
        json.dump(state, file)
    os.rename("state.json.new", "state.json")
    signal.sigwait([signal.SIGUSR1])
