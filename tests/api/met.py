#!/usr/bin/env python3
"""What the tests have met of the described interface.

  met.py forget FOLDER          before the tests, which leave there a file each
  met.py report FOLDER BUILD    after them: says how much was checked; fails when something described was never met

After a run of some tests only nothing is asked; the status is then 77, skipped.
"""

import json
import pathlib
import shutil
import subprocess
import sys

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
import api  # noqa: E402: found by the line before

SKIPPED = 77


def described():
    for item in api.Description().objects:
        name = item["object"]
        for method, what in item["methods"].items():
            yield from (f"reply {name} {method}\t{path}" for path, _ in api.nested(what["reply"] or {}))
            yield from (f"failure {name} {method}\t{failure['text']}" for failure in what["failures"])
            if "silent" in what or "bus_error" in what:
                yield f"silence {name} {method}\t"
        for notification, what in item["notifications"].items():
            yield from (f"notification {name} {notification}\t{path}" for path, _ in api.nested(what["message"]))


def tests_that_check(build):
    """The names of the files that a run of all tests leaves."""
    listing = subprocess.run(["ctest", "--test-dir", build, "--show-only=json-v1"], capture_output=True, check=True)
    for test in json.loads(listing.stdout)["tests"]:
        properties = {item["name"]: item["value"] for item in test.get("properties", [])}
        if any(name.endswith(".api_met") for name in properties.get("FIXTURES_REQUIRED", [])):
            start = "--gtest_filter="
            yield from (word[len(start):].replace("/", "+") for word in test["command"] if word.startswith(start))


def report(folder, build):
    met, checked = set(), 0
    for file in folder.iterdir() if folder.is_dir() else []:
        for line in file.read_text(encoding="utf-8").splitlines():
            if line.startswith("checked\t"):
                checked += int(line.split("\t")[1])
            else:
                met.add(line)
    expected = list(dict.fromkeys(described()))
    unmeetable = json.loads((pathlib.Path(__file__).parent / "unmet.json").read_text(encoding="utf-8"))
    missing = [line for line in expected if line not in met]
    print(f"{checked} replies and notifications checked; of {len(expected)} keys, failure texts and silences "
          f"{len(expected) - len(missing)} met")
    left_out = set(tests_that_check(build)) - {file.name for file in folder.iterdir()}
    if left_out:
        print(f"{len(left_out)} tests did not run: nothing is asked")
        return SKIPPED
    wrong = [f"never met: {line}" for line in missing if line not in unmeetable]
    wrong += [f"met, though said to be unmeetable: {line}" for line in unmeetable if line in met]
    wrong += [f"not described, though said to be unmeetable: {line}" for line in unmeetable if line not in expected]
    for line in wrong:
        print(line)
    return 1 if wrong else 0


def main():
    command, folder = sys.argv[1], pathlib.Path(sys.argv[2])
    if command == "forget":
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir(parents=True, exist_ok=True)  # a test that is not waited for may have made it again
        return 0
    return report(folder, sys.argv[3])


if __name__ == "__main__":
    sys.exit(main())
