#!/usr/bin/env python3
"""The description of the interface (api/) in itself: valid, whole, and its examples as it says.

The replies of the examples are held against a running daemon elsewhere.
"""

import json
import pathlib
import re
import sys
import unittest

import jsonschema

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "scripts"))
import api  # noqa: E402: found by the line before

TYPES = {"STRING": "string", "INT32": "integer", "INT64": "integer", "INT16": "integer", "BOOL": "boolean",
         "DOUBLE": "number", "ARRAY": "array", "TABLE": "object"}
PLAIN = ("enum", "minimum", "maximum", "minLength", "minItems", "maxItems", "pattern")


def schema_of(value):
    """A value's description in JSON Schema's words alone."""
    schema = {"type": TYPES[value.get("x-sent", value["x-bus"])], **{key: value[key] for key in PLAIN if key in value}}
    if "items" in value:
        schema["items"] = schema_of(value["items"])
    if "properties" in value:
        schema.update(schema_of_keys(value["properties"]))
    return schema


def schema_of_keys(keys, called="N"):
    properties = {re.sub(r"^.*\.N$", called, key): schema_of(value) for key, value in keys.items()}
    required = [re.sub(r"^.*\.N$", called, key) for key, value in keys.items() if "optional" not in value]
    return {"type": "object", "properties": properties, "required": required, "additionalProperties": False}


def schema_of_arguments(arguments):
    required = [name for name, value in arguments.items() if value.get("required") is True]
    return {**schema_of_keys(arguments), "required": required}


class Described(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.description = api.Description()

    def methods(self):
        for described in self.description.objects:
            for name, method in described["methods"].items():
                yield described, name, method

    def notifications(self):
        for described in self.description.objects:
            for name, notification in described["notifications"].items():
                yield described, name, notification

    def values(self):
        for described, name, method in self.methods():
            for keys in (method.get("arguments", {}), method["reply"] or {}):
                for path, value in api.nested(keys):
                    yield f"{described['object']} {name} {path}", value
        for described, name, notification in self.notifications():
            for path, value in api.nested(notification["message"]):
                yield f"{described['object']} {name} {path}", value

    def assert_valid(self, schema, value, where):
        for error in jsonschema.Draft202012Validator(schema).iter_errors(value):
            self.fail(f"{where}: {'/'.join(map(str, error.absolute_path))}: {error.message}")

    def test_files_are_valid(self):
        schema = json.loads((ROOT / "api/schema.json").read_text(encoding="utf-8"))
        jsonschema.Draft202012Validator.check_schema(schema)
        for file in sorted((ROOT / "api").glob("*.json")):
            if not file.name.endswith("schema.json"):
                self.assert_valid(schema, json.loads(file.read_text(encoding="utf-8")), file.name)

    def test_keys_of_files_are_there_once(self):
        def once(pairs):
            keys = [key for key, _ in pairs]
            self.assertEqual(len(keys), len(set(keys)), keys)
            return dict(pairs)

        for file in (ROOT / "api").glob("*.json"):
            json.loads(file.read_text(encoding="utf-8"), object_pairs_hook=once)

    def test_files_have_the_names_of_their_objects(self):
        files = {file.stem for file in (ROOT / "api").glob("wexond*.json")}
        self.assertEqual({described["object"] for described in self.description.objects}, files)

    def test_kinds_of_entry_object_belong_to_objects(self):
        names = {described["object"] for described in self.description.objects}
        for described in self.description.objects:
            if "entry_of" in described:
                self.assertIn(described["entry_of"], names)
                self.assertEqual(described["object"], described["entry_of"] + ".N")

    def test_what_is_registered_in_order_is_an_object_and_no_entry(self):
        objects = {described["object"] for described in self.description.objects if "entry_of" not in described}
        self.assertLessEqual(set(self.description.common["registration"]), objects)

    def test_every_value_has_a_type(self):
        for where, value in self.values():
            self.assertIn("x-bus", value, where)

    def test_words_and_limits_are_of_their_types(self):
        for where, value in self.values():
            kind = {"type": TYPES[value["x-bus"]]}
            for word in value.get("enum", []) + value.get("x-known", []):
                self.assert_valid(kind, word, where)
            known = {str(word) for word in value.get("enum", value.get("x-words", {}))}
            self.assertLessEqual(set(value.get("x-words", {})), known, where)
            self.assertLessEqual(value.get("minimum", 0), value.get("maximum", 1 << 63), where)

    def test_patterns_fit_the_known_words(self):
        for where, value in self.values():
            for key in ("pattern", "x-form"):
                if key in value:
                    re.compile(value[key])

    def test_first_examples_fit_their_arguments(self):
        for described, name, method in self.methods():
            schema = schema_of_arguments(method.get("arguments", {}))
            arguments = method["examples"][0].get("arguments", {})
            self.assert_valid(schema, arguments, f"{described['object']} {name}")

    def test_examples_of_entries_name_one(self):
        for described in self.description.objects:
            items = [*described["methods"].values(), *described["notifications"].values()]
            for example in (example for item in items for example in item["examples"]):
                called = example.get("object", described["object"])
                self.assertRegex(called, "^" + re.escape(described["object"]).replace("\\.N", r"\.\d+") + "$")

    def test_examples_reply_as_described(self):
        failure = schema_of_keys(self.description.resolve(self.description.common["failure_reply"]))
        for described, name, method in self.methods():
            for example in method["examples"]:
                where = f"{described['object']} {name}: {example['title']}"
                reply = example["reply"]
                if reply is None:
                    self.assertTrue(method["reply"] is None or "silent" in method, where)
                elif "result" in reply and "result" not in method["reply"]:
                    self.assert_valid(failure, reply, where)
                else:
                    called = example.get("object", described["object"])
                    self.assert_valid(schema_of_keys(method["reply"], called), reply, where)
                self.check_failure(method, reply, where)

    def check_failure(self, method, reply, where):
        if not reply or reply.get("result") != "1" or "failreason" not in reply:
            return
        patterns = [api.failure_pattern(failure["text"], method.get("arguments", {})) for failure in method["failures"]]
        self.assertTrue(any(re.match(pattern, reply["failreason"]) for pattern in patterns), where)

    def test_examples_notify_as_described(self):
        for described, name, notification in self.notifications():
            schema = schema_of_keys(notification["message"])
            for example in notification["examples"]:
                self.assert_valid(schema, example["message"], f"{described['object']} {name}")
                self.assertIn(example["event"][0], notification["events"])

    def test_every_method_is_in_exactly_one_list(self):
        lists = [api.granted(self.description, name) for name in api.LISTS]
        for described, name, _ in self.methods():
            holders = [grants for grants in lists if name in grants.get(api.pattern_of(described), [])]
            self.assertEqual(len(holders), 1, f"{described['object']} {name}")

    def test_the_list_of_readers_shows_no_secret(self):
        for described, name, method in self.methods():
            if name in api.granted(self.description, "read").get(api.pattern_of(described), []):
                self.assertFalse(api.shows_secrets(method), f"{described['object']} {name}")

    def test_keys_that_sound_secret_are_marked(self):
        for where, value in self.values():
            if re.search(r"\b(key|pppoepwd|password|devtoken)$", where):
                self.assertTrue(value.get("x-secret"), where)


class Generated(unittest.TestCase):
    def test_files_are_what_the_description_gives(self):
        holders = {name: f"group:wexond-{name}" for name in api.LISTS}
        self.assertEqual(api.check(api.all_files(api.Description(), holders)), 0)


if __name__ == "__main__":
    unittest.main()
