"""The hand at the camera: commands over a Unix socket, one JSON object a line, as the camera lab takes them.

{"cmd":"plug"} {"cmd":"unplug"} {"cmd":"freeze"} {"cmd":"thaw"} {"cmd":"reset"}
{"cmd":"stall","unit":2,"selector":4,"request":1,"times":1,"error":1}   what is left out fits all; times: once
{"cmd":"requests","clear":true}   the class requests so far
{"cmd":"get","unit":2,"selector":4}   {"cmd":"set","unit":2,"selector":4,"value":7}
{"cmd":"state"}
"""

import json


def _stall(camera, command):
    rule = {name: command[name] for name in ("unit", "selector", "request", "error") if name in command}
    camera.panel.stalls.append(rule | {"times": command.get("times", 1)})


def _requests(camera, command):
    told = list(camera.log)
    if command.get("clear"):
        camera.log.clear()
    return {"requests": told}


def _control(camera, command):
    control = camera.panel.controls.get((command.get("unit"), command.get("selector")))
    if control is None:
        raise ValueError("no such control")
    return control


def _set(camera, command):
    _control(camera, command).current = int(command["value"])


def _reset(camera, _):
    camera.panel.reset()
    camera.log.clear()
    camera.stream.is_frozen = False
    camera.plug()


def _freeze(camera, _):
    camera.stream.is_frozen = True


def _thaw(camera, _):
    camera.stream.is_frozen = False


def _state(camera, _):
    width, height = camera.stream.committed.dimensions()
    return {"plugged": camera.cable is not None, "frozen": camera.stream.is_frozen, "pictures": camera.stream.number,
            "format": camera.stream.committed.kind, "width": width, "height": height}


COMMANDS = {
    "plug": lambda camera, _: camera.plug(),
    "unplug": lambda camera, _: camera.unplug(),
    "freeze": _freeze,
    "thaw": _thaw,
    "reset": _reset,
    "stall": _stall,
    "requests": _requests,
    "get": lambda camera, command: {"value": _control(camera, command).current},
    "set": _set,
    "state": _state,
}


def carry_out(camera, line):
    """The answer to one line, as a line."""
    try:
        command = json.loads(line)
        answer = {"ok": True} | (COMMANDS[command["cmd"]](camera, command) or {})
    except (ValueError, KeyError, TypeError, OSError) as error:
        answer = {"ok": False, "error": f"{type(error).__name__}: {error}"}
    return json.dumps(answer).encode() + b"\n"
