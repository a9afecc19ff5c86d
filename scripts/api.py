#!/usr/bin/env python3
"""Makes from api/ what tells the interface to others: docs/api/, the access lists of the bus and those for HTTP sessions.

  scripts/api.py               writes them
  scripts/api.py --check       says which of them are not what the description gives; writes nothing
  scripts/api.py --counts      says how much is described

The access lists of the bus are for groups of the lists' names, unless told otherwise:

  scripts/api.py --lists-only --output DIR --read user:monitor --write group:agents
"""

import argparse
import json
import pathlib
import re
import shlex
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
GENERATED = "<!-- Made by scripts/api.py from api/; change it there. -->\n"
FAMILIES = {
    "system": "Device, network and stations",
    "wifi": "Wi-Fi",
    "filters": "Filters, schedules and quality of service",
}
LISTS = {
    "read": "Asks, but not what shows keys or passwords; subscribes to all notifications.",
    "secrets": "Asks what shows keys or passwords.",
    "write": "Changes things.",
}


# --- The description ---


class Description:
    """All of api/, with references replaced by what they refer to. `objects` is sorted by name."""

    def __init__(self, folder=ROOT / "api"):
        self.common = json.loads((folder / "common.json").read_text(encoding="utf-8"))
        files = sorted(folder.glob("wexond*.json"), key=lambda file: file.stem)
        self.objects = [self.resolve(json.loads(file.read_text(encoding="utf-8"))) for file in files]

    def resolve(self, value):
        if isinstance(value, list):
            return [self.resolve(element) for element in value]
        if not isinstance(value, dict):
            return value
        while isinstance(value.get("$ref"), str):
            shared = self.common
            for step in value["$ref"].partition("#/")[2].split("/"):
                shared = shared[step]
            value = {**shared, **{key: value[key] for key in value if key != "$ref"}}
        return {key: self.resolve(element) for key, element in value.items()}


def nested(keys):
    """Every value below these keys, with its path: `wexond.laninfo`, `wexond.laninfo[]`, `wexond.laninfo[].mac`."""
    for key, value in keys.items():
        yield from walk(key, value)


def walk(path, value):
    yield path, value
    if "items" in value:
        yield from walk(path + "[]", value["items"])
    for key, below in value.get("properties", {}).items():
        yield from walk(f"{path}.{key}", below)


def shows_secrets(method):
    return any(value.get("x-secret") for _, value in nested(method["reply"] or {}))


def list_of(method):
    """The access list that a method is in."""
    if method["access"] == "write":
        return "write"
    return "secrets" if shows_secrets(method) else "read"


def pattern_of(described):
    """What stands for an object, or for all objects of a kind of entry, in an access list."""
    return re.sub(r"\.N$", ".*", described["object"])


def failure_pattern(text, arguments):
    """A regular expression for the texts that one with {placeholders} stands for."""
    pattern = ""
    for piece in re.split(r"(\{[^}]*\})", text):
        if piece == "{argument}":
            pattern += "(" + "|".join(map(re.escape, arguments)) + ")"
        elif piece.startswith("{"):
            pattern += "[^\\0]*"
        else:
            pattern += re.escape(piece)
    return f"^{pattern}$"


# --- Pages ---


def words(value):
    return '"' + value + '"' if isinstance(value, str) else str(value)


def cell(text):
    return text.replace("|", "\\|").replace("\n", " ")


def type_text(value):
    if "x-sent" in value:
        return f"{value['x-sent'].lower()}, listed as {value['x-bus'].lower()}"
    text = value["x-bus"].lower()
    return f"array of {type_text(value['items'])}" if "items" in value else text


def range_text(value, unit=""):
    low, high = value.get("minimum"), value.get("maximum")
    if low is not None and high is not None:
        return f"{low} to {high}"
    if low is not None:
        return f"{low} or more"
    return f"at most {high}" if high is not None else ""


def limit_text(value):
    low, high = value.get("minItems"), value.get("maxItems")
    if high is None:
        return f"at least {low} elements" if low else ""
    if low == high:
        return f"{high} elements" if high else "empty"
    return f"at most {high} elements"


def choices_text(value):
    meanings = value.get("x-words", {})
    known = value.get("enum", value.get("x-known"))
    if known is None:
        return ", ".join(f"{word} {meaning}" for word, meaning in meanings.items())
    text = ", ".join(f"{words(word)} {meanings[str(word)]}" if str(word) in meanings else words(word) for word in known)
    return text if "enum" in value else text + ", others possible"


def values_text(value):
    parts = [choices_text(value), range_text(value), limit_text(value)]
    if "maxLength" in value and "enum" not in value:
        parts.append(f"at most {value['maxLength']} bytes")
    if "format" in value:
        parts.append(value["format"])
    elif "enum" not in value:
        parts += [f"`{value['pattern']}`"] if "pattern" in value else []
        parts += [f"usually `{value['x-form']}`"] if "x-form" in value else []
    parts.append(value.get("unit", ""))
    items = value.get("items", {})
    if items and "properties" not in items:
        below = values_text(items)
        parts.append("each: " + below if below else "")
    return "; ".join(filter(None, parts))


def notes(value):
    text = [value.get("description", "")]
    for key, start in (("x-longer", "longer"), ("x-beyond", "more elements"), ("x-unknown", "other values")):
        if key in value:
            text.append(f"{start}: {value[key]}")
        items = value.get("items", {})
        if key in items and "properties" not in items:
            text.append(f"elements, {start}: {items[key]}" if start != "more elements" else items[key])
    if "optional" in value:
        text.append(f"there {value['optional']}" if value["optional"].startswith("when") else value["optional"])
    if value.get("x-secret"):
        text.append("**secret**")
    return "; ".join(filter(None, text))


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + " --- |" * len(head)]
    lines += ["| " + " | ".join(cell(text) for text in row) + " |" for row in rows]
    return "\n".join(lines) + "\n"


def argument_rows(arguments):
    for name, value in arguments.items():
        required = value.get("required", "")
        yield f"`{name}`", type_text(value), "yes" if required is True else required or "no", values_text(value), notes(value)


def key_rows(keys):
    for path, value in nested(keys):
        if path.endswith("[]") and not value.get("description"):
            continue
        if "properties" in value.get("items", {}):
            kind, values = "array of table", limit_text(value)
        else:
            kind, values = type_text(value), values_text(value)
        yield f"`{path}`", kind, values, notes(value)


def layout(value, indent=0, width=100, pack=True, used=0):
    """JSON with what fits on a line on one line; `pack` also puts several short pairs or elements on a line.

    The value begins `used` characters after its indentation.
    """
    flat = json.dumps(value, ensure_ascii=False)
    if not value or not isinstance(value, (dict, list)) or indent + used + len(flat) < width:
        return flat
    pad = " " * (indent + 2)
    pairs = value.items() if isinstance(value, dict) else (("", element) for element in value)
    lines, line = [], ""
    for key, element in pairs:
        start = json.dumps(key, ensure_ascii=False) + ": " if isinstance(value, dict) else ""
        text = start + layout(element, indent + 2, width, pack, len(start))
        if line and pack and "\n" not in text and len(pad) + len(line) + len(text) + 2 < width:
            line += ", " + text
            continue
        if line:
            lines.append(pad + line)
        line = text
        if "\n" in text:
            lines.append(pad + text)
            line = ""
    if line:
        lines.append(pad + line)
    brackets = "{}" if isinstance(value, dict) else "[]"
    return brackets[0] + "\n" + ",\n".join(lines) + "\n" + " " * indent + brackets[1]


SHOWN_ELEMENTS = 2


def shortened(value):
    """What a page shows of a reply: of long lists of tables the first few, and how many follow."""
    if isinstance(value, dict):
        return {key: shortened(element) for key, element in value.items()}
    if not isinstance(value, list) or not value or not isinstance(value[0], dict) or len(value) <= SHOWN_ELEMENTS + 1:
        return [shortened(element) for element in value] if isinstance(value, list) else value
    rest = len(value) - SHOWN_ELEMENTS
    return [shortened(element) for element in value[:SHOWN_ELEMENTS]] + [f"... and {rest} more"]


def call_line(name, method, arguments):
    line = f"$ ubus call {name} {method}"
    if arguments:
        line += " " + shlex.quote(json.dumps(arguments, ensure_ascii=False))
    return line


def example_text(described, method, example):
    lines = [call_line(call["object"], call["method"], call.get("arguments")) for call in example.get("before", [])]
    lines.append(call_line(example.get("object", described["object"]), method, example.get("arguments")))
    if example["reply"] is not None:
        lines.append(layout(shortened(example["reply"])))
    return f"{example['title']}:\n\n```\n" + "\n".join(lines) + "\n```\n"


def method_text(described, name, method):
    text = f"## {name}\n\n{method['description']}\n"
    for key, start in (("slow", "Takes its time"), ("silent", "Succeeds without a reply"), ("bus_error", "Ends with an error of the bus")):
        if key in method:
            text += f"\n{start}: {method[key]}\n"
    text += f"\nAccess list: {list_of(method)}.\n"
    if method.get("arguments"):
        text += "\n" + table(("Argument", "Type", "Required", "Values", "What it is"), argument_rows(method["arguments"]))
    if method["reply"] is None:
        text += "\nThere is no reply.\n"
    elif method["reply"]:
        text += "\n" + table(("Reply", "Type", "Values", "What it is"), key_rows(method["reply"]))
    else:
        text += "\nThe reply has no key.\n"
    if method["failures"]:
        rows = ((f"`{failure['text']}`", failure["when"]) for failure in method["failures"])
        text += "\n" + table(("Failure", "When"), rows)
    return text + "".join("\n" + example_text(described, name, example) for example in method["examples"])


def notification_text(described, name, notification):
    text = f"## Notification {name}\n\n{notification['when']}\n"
    text += "\n" + table(("Key", "Type", "Values", "What it is"), key_rows(notification["message"]))
    for example in notification["examples"]:
        message = layout({name: example["message"]})
        subscribed = example.get("object", described["object"])
        text += f"\n{example['title']}:\n\n```\n$ ubus subscribe {subscribed}\n{message}\n```\n"
    return text


def page(described):
    text = f"# {described['object']}: {described['title']}\n\n{GENERATED}\n{described['description']}\n"
    for name, method in described["methods"].items():
        text += "\n" + method_text(described, name, method)
    for name, notification in described["notifications"].items():
        text += "\n" + notification_text(described, name, notification)
    return text


def index(description):
    text = f"# The interface on the bus\n\n{GENERATED}\nRead [Conventions](conventions.md) first.\n"
    for family, title in FAMILIES.items():
        rows = []
        for described in description.objects:
            if described["family"] != family:
                continue
            name = described["object"]
            link = f"[{name}]({name}.md)"
            methods = ", ".join(f"[{method}]({name}.md#{anchor(method)})" for method in described["methods"])
            notified = ", ".join(
                f"[{item}]({name}.md#{anchor('notification ' + item)})" for item in described["notifications"]
            )
            rows.append((link, described["title"], methods, notified))
        if rows:
            text += f"\n## {title}\n\n" + table(("Object", "What it is", "Methods", "Notifications"), rows)
    return text


def anchor(heading):
    return re.sub(r"[^0-9a-z -]", "", heading.lower()).replace(" ", "-")


# --- Access lists ---


def granted(description, wanted):
    """What a list grants: the methods by pattern."""
    grants = {}
    for described in description.objects:
        methods = [name for name, method in described["methods"].items() if list_of(method) == wanted]
        if methods:
            grants[pattern_of(described)] = methods
    return grants


def notifying(description):
    return [pattern_of(described) for described in description.objects if described["notifications"]]


def bus_list(description, wanted, holder):
    kind, _, name = holder.partition(":")
    access = {pattern: {"methods": methods} for pattern, methods in granted(description, wanted).items()}
    rules = {kind: name, "access": access}
    if wanted == "read":
        rules["subscribe"] = notifying(description)
        rules["listen"] = ["ubus.object.add"]  # who subscribes has to subscribe again when the daemon starts anew
    return rules


def http_lists(description):
    groups = {}
    for name, text in LISTS.items():
        grants = granted(description, name)
        if name == "read":
            for pattern in notifying(description):
                grants.setdefault(pattern, []).append(":subscribe")
        groups[f"wexond-{name}"] = {"description": text, "write" if name == "write" else "read": {"ubus": grants}}
    return groups


# --- All files ---


def list_files(description, holders):
    files = {f"acl.d/wexond-{name}.json": bus_list(description, name, holders[name]) for name in LISTS}
    files["rpcd/wexond.json"] = http_lists(description)
    return {path: layout(content, width=90, pack=False) + "\n" for path, content in files.items()}


def all_files(description, holders):
    files = {f"docs/api/{described['object']}.md": page(described) for described in description.objects}
    files["docs/api/index.md"] = index(description)
    files.update({f"packaging/{path}": text for path, text in list_files(description, holders).items()})
    return files


def surplus(files):
    """Pages that nothing describes any more."""
    pages = {f"docs/api/{file.name}" for file in (ROOT / "docs/api").glob("wexond*.md")}
    return sorted(pages - set(files))


def check(files):
    wrong = [f"{path} is not what api/ describes" for path, text in files.items() if read(ROOT / path) != text]
    wrong += [f"{path} is of no object" for path in surplus(files)]
    for line in wrong:
        print(line)
    if wrong:
        print("Run scripts/api.py")
    return 1 if wrong else 0


def read(path):
    return path.read_text(encoding="utf-8") if path.is_file() else None


def write(folder, files):
    for path, text in files.items():
        if read(folder / path) == text:
            continue
        (folder / path).parent.mkdir(parents=True, exist_ok=True)
        (folder / path).write_text(text, encoding="utf-8")
        print(path)


def counts(description):
    methods = [method for described in description.objects for method in described["methods"].values()]
    notifications = [item for described in description.objects for item in described["notifications"].values()]
    entries = sum("entry_of" in described for described in description.objects)
    keys = sum(1 for method in methods for path, _ in nested(method["reply"] or {}) if not path.endswith("[]"))
    keys += sum(1 for item in notifications for path, _ in nested(item["message"]) if not path.endswith("[]"))
    print(f"objects {len(description.objects) - entries}, kinds of entry object {entries}")
    print(f"methods {len(methods)}, arguments {sum(len(method.get('arguments', {})) for method in methods)}")
    print(f"keys of replies and messages {keys}, notifications {len(notifications)}")
    print(f"failure texts {sum(len(method['failures']) for method in methods)}")
    print(f"examples {sum(len(item['examples']) for item in methods + notifications)}")


def holder(text):
    if not re.fullmatch(r"(user|group):.+", text):
        raise argparse.ArgumentTypeError("user:NAME or group:NAME")
    return text


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--check", action="store_true")
    parser.add_argument("--counts", action="store_true")
    parser.add_argument("--lists-only", action="store_true", help="only the access lists")
    parser.add_argument("--output", type=pathlib.Path, help="where acl.d and rpcd go with --lists-only; else packaging")
    for name in LISTS:
        parser.add_argument(f"--{name}", type=holder, default=f"group:wexond-{name}", metavar="user:NAME|group:NAME",
                            help=f"whom the list {name} is for (%(default)s)")
    options = parser.parse_args()
    description = Description()
    holders = {name: getattr(options, name) for name in LISTS}
    if options.counts:
        counts(description)
    elif options.lists_only:
        write(options.output or ROOT / "packaging", list_files(description, holders))
    elif options.check:
        return check(all_files(description, holders))
    else:
        files = all_files(description, holders)
        write(ROOT, files)
        for path in surplus(files):
            (ROOT / path).unlink()
    return 0


if __name__ == "__main__":
    sys.exit(main())
