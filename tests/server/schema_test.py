"""Holds the campaign file's schema against another implementation of JSON Schema: what that one takes and refuses is
what the server does, over the table of cases that the server's own tests walk, and over every file that we ship."""
import copy
import json
import pathlib
import unittest

import jsonschema  # the Debian package python3-jsonschema

ROOT = pathlib.Path(__file__).resolve().parents[2]
WINDOW = {"id": "1", "style": 3, "count": 1, "event": {"xwhat": "buy"}}


def read(path):
    return json.loads((ROOT / path).read_text(encoding="utf-8"))


class Schema(unittest.TestCase):
    def setUp(self):
        self.schema = read("server/campaigns.schema.json")
        self.validator = jsonschema.Draft7Validator(self.schema)

    def test_agrees_with_the_server(self):
        cases = read("tests/server/campaign_cases.json")
        files = [({"windows": [{**copy.deepcopy(WINDOW), **entry[0]}]}, entry[1:]) for entry in cases["members"]]
        files += [(entry[0], entry[1:]) for entry in cases["files"]]
        self.assertGreater(len(files), 60)
        for file, (error, *only_the_server) in files:
            with self.subTest(json.dumps(file)):
                self.assertEqual(self.validator.is_valid(file), error is None or bool(only_the_server))

    def test_is_a_schema_and_takes_what_we_ship(self):
        jsonschema.Draft7Validator.check_schema(self.schema)
        shipped = ["server/campaigns.example.json", *(ROOT / "examples").rglob("campaigns.json")]
        self.assertGreater(len(shipped), 2)
        for path in shipped:
            self.validator.validate(read(path))


if __name__ == "__main__":
    unittest.main()
