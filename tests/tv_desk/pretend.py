"""A pretended television behind the page: it takes lines and tells what a real one would, as far as a page can see."""

import threading
import time

DEADLINE = 30

LANES = ["set", "service", "connectionmanager", "connectionshift", "irmonitor", "updatemanager", "hfpAgent", "keyrouter",
         "settings", "log", "timers"]
FUNCTIONS = ["bt_adapter_disable", "bt_adapter_enable", "bt_adapter_set_name", "bt_hid_send_device_command"]
SIBLINGS = LANES[2:8]
HELLO = {"hello": {
    "commands": [
        {"syntax": "remote|wheel connect [ADDRESS]", "help": "comes into reach and connects"},
        {"syntax": "remote|wheel disconnect [REASON]", "help": "ends its connection in order"},
        {"syntax": "remote|wheel battery adc LEVEL", "help": "reports its battery, as the service reads it"},
        {"syntax": "remote grip [BYTE]", "help": "somebody takes it into the hand"},
        {"syntax": "speaker|phone|keyboard connect", "help": "connects: the link, and then what it is for"},
        {"syntax": "power normal|picture-off|standby|suspend [REASON]", "help": "the set goes to this power state"},
        {"syntax": "power off [OPTION]", "help": "the whole way out", "choices": {"OPTION": ["normal", "suspend-off", "reset"]}},
        {"syntax": "set SETTING VALUE", "help": "another program writes a setting"},
        {"syntax": "sibling SIBLING hang", "help": "it is there and never answers", "choices": {"SIBLING": SIBLINGS}},
        {"syntax": "fail FUNCTION CODE [TIMES]", "help": "a platform function fails from now on, or so many times",
         "choices": {"FUNCTION": FUNCTIONS, "CODE": ["ALREADY_DONE", "OPERATION_FAILED"]}},
        {"syntax": "wait DURATION", "help": "time passes, all at once", "choices": {"DURATION": ["10s", "1min", "1h"]}},
        {"syntax": "next timer", "help": "time passes until the next timer of the service is due"},
    ],
    "functions": FUNCTIONS, "lanes": LANES,
}}
DURATIONS = {"1min": 60, "1h": 3600, "8h": 8 * 3600, "10s": 10}


class Pretend:
    """With a `with`, around a FakeFront: lines are answered on a thread of its own."""

    def __init__(self, front):
        self.front = front
        self.lines = []
        self.changed = threading.Condition()
        self.number = 0
        self.at = 0
        self.state = {
            "running": True,
            "power": {"state": 0, "ambient": 0, "locks": [], "ambientLock": False},
            "adapter": {"state": 1, "name": "Living Room", "visibility": 1, "connectable": True, "headless": False},
            "remote": {"address": "5C:51:4F:00:00:02", "connected": False, "type": 1, "firmware": 268435457, "battery": 163, "gripSensor": 1},
            "wheel": {"address": "5C:51:4F:00:00:03", "connected": False, "type": 2, "firmware": 1, "battery": 240},
            "speaker": {"address": "5C:51:4F:00:00:01", "name": "Kitchen speaker", "bonded": True, "connected": False},
            "phone": {"address": "5C:51:4F:00:00:04", "name": "Phone", "bonded": False, "connected": False},
            "keyboard": {"address": "5C:51:4F:00:00:05", "name": "Keyboard", "bonded": False, "connected": False},
            "stand": {"connected": True},
            "siblings": [{"name": name, "behaviour": "answers"} for name in SIBLINGS],
            "settings": [
                {"key": "db/menu/network/devicename/tv_name", "type": "string", "value": "Living Room"},
                {"key": "db/vyrel/lastSoundRoute", "type": "int", "value": "3"},
                {"key": "db/vyrel/reset", "type": "int", "value": "0"},
                {"key": "memory/wizard/wizard_mode", "type": "string", "value": "OFF"},
                {"key": "db/low-power-support/bt-disable", "type": "bool", "value": "false"},
                {"key": "db/bluetooth_smartrc/conn_dev_addr", "type": "string", "value": "5C:51:4F:00:00:02"},
            ],
            "features": [{"name": "bluetooth.audio_support", "value": "true"}, {"name": "ble_support", "value": "1"}],
            "failures": [],
            "timers": [{"number": 4, "interval": "10000 ms", "due": 10_000_000}],
        }
        self.front.tell(HELLO)
        self.tell_state()
        self.thread = threading.Thread(target=self._listen)
        self._ends = False
        self.thread.start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._ends = True
        self.thread.join()

    def _listen(self):
        while not self._ends:
            try:
                said = self.front.says(0.1)
            except EOFError:
                return
            if said and "line" in said:
                error = self.carry_out(said["line"])
                self.front.tell({"done": {"line": said["line"], "error": error}})
                with self.changed:
                    self.lines.append(said["line"])
                    self.changed.notify_all()

    def wait_line(self, line):
        with self.changed:
            if not self.changed.wait_for(lambda: line in self.lines, DEADLINE):
                raise AssertionError(f"never submitted: {line}; but {self.lines}")

    def wait_lines(self, lines):
        """Until just these have been submitted."""
        with self.changed:
            if not self.changed.wait_for(lambda: self.lines == lines, DEADLINE):
                raise AssertionError(f"submitted were {self.lines}, not {lines}")

    def tell_state(self):
        self.front.tell({"state": {**self.state, "at": self.at}})

    def entry(self, lane, kind, text, cause=0, **more):
        self.number += 1
        self.front.tell({"id": self.number, "cause": cause, "at": self.at, "lane": lane, "kind": kind, "text": text, **more})
        return self.number

    # What a line does.

    def carry_out(self, line):
        words = line.split()
        cause = self.entry("set", "line", line)
        error = None
        if words[0] in ("remote", "wheel", "speaker", "phone", "keyboard", "stand") and words[1] in ("connect", "disconnect", "lose"):
            self.connects(words[0], words[1] == "connect", cause)
        elif words[:1] + words[2:3] == ["remote", "adc"]:
            self.battery(int(words[3]), cause)
        elif words[0] == "power" and words[1] in ("normal", "picture-off", "standby", "suspend", "ambient"):
            self.power(words[1], cause)
        elif words[0] == "set":
            self.writes(words[1], line.split(None, 2)[2].strip('"'), cause)
        elif words[0] == "sibling":
            next(each for each in self.state["siblings"] if each["name"] == words[1])["behaviour"] = words[2]
        elif words[0] == "fail":
            self.state["failures"].append({"function": words[1], "code": words[2], "left": int(words[3]) if len(words) > 3 else 0})
        elif words[0] == "recover":
            self.state["failures"] = [each for each in self.state["failures"] if each["function"] != words[1]]
        elif words[0] == "wait":
            self.passes(DURATIONS[words[1]])
        elif line == "next timer":
            self.passes(self.state["timers"][0]["due"] / 1_000_000 - self.at / 1_000_000)
            self.fires()
        elif line in ("plug", "unplug"):
            self.state["running"] = line == "plug"
            self.entry("set", "life", f"{line}ged", cause)
        else:
            error = "no such line; did you mean “remote connect”?"
        self.tell_state()
        return error

    def passes(self, seconds):
        self.at += int(seconds * 1_000_000)

    def fires(self):
        fired = self.entry("timers", "fired", "timer 4 fires", words="ten seconds have passed", subject="timer")
        self.call(fired, "ppi_ecs_get_colorsensor_info", [], "0", "how much light is there?", "sensor")
        self.entry("timers", "timer", "timer 5: 3600000 ms", fired, subject="timer", words="in an hour")
        self.state["timers"] = [{"number": 5, "interval": "3600000 ms", "due": self.at + 3_600_000_000}]

    def call(self, cause, function, arguments, result, words=None, subject=None, outputs=()):
        text = f"{function}({', '.join(arguments)}) = {result}"
        more = {"words": words, "subject": subject} if words else {}
        return self.entry("service", "call", text, cause, function=function, arguments=[{"text": each} for each in arguments],
                          result=result, outputs=[{"text": each} for each in outputs], **more)

    def log(self, cause, priority, text):
        self.entry("log", "log", f"{priority} VYREL_LITE RemoteManager.cpp: OnConnection(118) > {text}", cause, priority=priority,
                   message=text, tag="VYREL_LITE", file="RemoteManager.cpp", line=118)

    def connects(self, name, on, cause):
        thing = self.state[name]
        thing["connected"] = on
        address = thing.get("address", "")
        self.at += 12_500
        self.entry("set", "note", f"the {name} {'connects' if on else 'goes away'}", cause)
        event = self.entry("set", "event", f"bt_hid_connection_cb(0, {str(on).lower()}, \"{address}\")", cause,
                           words=f"the {name} is {'connected' if on else 'disconnected'}", subject=name)
        self.log(event, "D", "IN >> connection changed")
        self.call(event, "bt_adapter_get_bonded_device_info", [f'"{address}"'], "0")
        route = self.call(event, "vconf_set_int", ['"db/vyrel/smartrc_adc_flag"', "0"], "0", "db/vyrel/smartrc_adc_flag = 0", "setting")
        self.entry("settings", "setting", "setting db/vyrel/smartrc_adc_flag = 0", route)
        sent = self.entry("connectionmanager", "bus", f"call com.quorix.tv.bt.connectionmanager UpdateConnectedDeviceList (bs) ({str(on).lower()}, '{address}')",
                          event, words=f"UpdateConnectedDeviceList ({str(on).lower()}, '{address}')", timeout=25000)
        self.entry("connectionmanager", "reply", "reply com.quorix.tv.bt.connectionmanager UpdateConnectedDeviceList ()", sent)
        if name == "remote" and on:
            failing = next((each for each in self.state["failures"] if each["function"] == "bt_hid_send_device_command"), None)
            result = "-29359868" if failing else "0"
            self.call(event, "bt_hid_send_device_command", [f'"{address}"', "0x11", "0x07"], result, "shop mode off", "remote")
            if failing:
                self.log(event, "E", "the remote did not take the command")
            timer = self.entry("timers", "timer", "timer 4: 10000 ms", event, words="in ten seconds", subject="timer")
            self.state["timers"] = [{"number": 4, "interval": "10000 ms", "due": self.at + 10_000_000}]
            self.log(timer, "I", "grip sensor is asked in 10 s")
            self.entry("service", "kpi", "25_remocon BTCONNECT EV006 {product=M;connect=1}", event, words="the remote was connected", subject="usage")
        self.log(event, "D", "OUT <<")

    def battery(self, level, cause):
        self.state["remote"]["battery"] = level << 3 | 3
        event = self.entry("set", "event", f"bt_hid_battery_cb(0x{level << 3 | 3:02x})", cause, words="the remote reports its battery", subject="remote")
        self.log(event, "I", f"battery level {level}")
        if level <= 15:
            sent = self.entry("connectionmanager", "bus", "call com.quorix.tv.bt.connectionmanager SmartRcBatteryLevel (s) ('48',)", event,
                              words="SmartRcBatteryLevel ('48')")
            self.entry("connectionmanager", "reply", "reply com.quorix.tv.bt.connectionmanager SmartRcBatteryLevel ()", sent)

    def power(self, state, cause):
        self.state["power"]["state"] = {"normal": 0, "picture-off": 1, "standby": 2}.get(state, 4)
        self.state["power"]["ambient"] = 2 if state == "ambient" else 0
        event = self.entry("set", "event", f"device_power_state_changed_cb({state})", cause, words=f"the set goes to {state}", subject="power")
        visible = state in ("normal", "picture-off")
        self.state["adapter"]["visibility"] = int(visible)
        self.call(event, "bt_adapter_set_visibility", [str(int(visible)), "0"], "0",
                  "let others find you" if visible else "let nobody find you", "adapter")
        self.entry("connectionmanager", "bus", f"signal com.quorix.tv.bt.connectionmanager PowerStateChanged (iiiiii) (0, 0, 0, {state}, 0, 0)", event,
                   words=f"PowerStateChanged to {state}")

    def writes(self, key, value, cause):
        setting = next((each for each in self.state["settings"] if each["key"] == key), None)
        if setting is None:
            setting = {"key": key, "type": "string"}
            self.state["settings"].append(setting)
        setting["value"] = value
        told = self.entry("settings", "setting", f"setting {key} = {value}", cause, words=f"{key} = {value}", subject="setting")
        if key.endswith("tv_name"):
            self.state["adapter"]["name"] = value
            self.call(told, "bt_adapter_set_name", [f'"{value}"'], "0", f'call yourself "{value}"', "adapter")

    def an_evening(self):
        """Something of everything, for pictures."""
        life = self.entry("set", "life", "plugged in")
        self.entry("log", "kernel", "[VYREL] enter vyrel-lite", life)
        start = self.call(life, "bt_product_init", [], "0", "the Bluetooth stack is opened", "adapter")
        self.call(start, "bt_adapter_get_state", [], "0", outputs=["0"])
        self.at += 400_000
        event = self.entry("set", "event", "bt_adapter_state_changed_cb(0, 1)", start, words="the adapter is on", subject="adapter")
        for function, arguments, words in (
            ("bt_adapter_set_name", ['"Living Room"'], 'call yourself "Living Room"'),
            ("bt_adapter_set_visibility", ["1", "0"], "let others find you"),
            ("bt_adapter_foreach_bonded_device", [], "who is paired?"),
        ):
            self.call(event, function, arguments, "0", words, "adapter")
        self.entry("irmonitor", "bus", "call com.quorix.tv.bt.irmonitor Reset ()", event, words="Reset ()")
        self.entry("hfpAgent", "bus", "call com.quorix.tv.hfpAgent Start ()", event, words="Start ()")
        for line in ("speaker connect", "remote connect", "next timer", "remote battery adc 15", "power picture-off", "power normal",
                     'set db/menu/network/devicename/tv_name "Kitchen"'):
            self.carry_out(line)
            self.at += 7_300_000
        signal = self.entry("keyrouter", "signal", "signal from keyrouter.dbus.Signal KEY_COMBINATION (i) (52,)", words="the keys switch Bluetooth on", subject="keys")
        self.call(signal, "bt_adapter_enable", [], "-29359868", "switch on", "adapter")
        self.log(signal, "E", "bt_adapter_enable failed")
        self.state["failures"] = [{"function": "bt_adapter_enable", "code": "OPERATION_FAILED", "left": 2}]
        self.state["siblings"][1]["behaviour"] = "hang"
        self.entry("updatemanager", "bus", "ask com.quorix.tv.bt.updatemanager CHIP ()", signal, words="CHIP ()", timeout=10000)
        self.tell_state()
