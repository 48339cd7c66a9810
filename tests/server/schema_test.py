# SPDX-License-Identifier: Apache-2.0
"""Checks the schema of campaign files with another implementation of JSON Schema. It must accept and refuse the same
files as the server: the table of cases of the server's own tests, and all campaign files in this repository."""
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

    def test_accepts_and_refuses_the_same_files_as_the_server(self):
        cases = read("tests/server/campaign_cases.json")
        files = [({"windows": [{**copy.deepcopy(WINDOW), **entry[0]}]}, entry[1:]) for entry in cases["members"]]
        files += [(entry[0], entry[1:]) for entry in cases["files"]]
        self.assertGreater(len(files), 60)
        for file, (error, *only_the_server) in files:
            with self.subTest(json.dumps(file)):
                self.assertEqual(self.validator.is_valid(file), error is None or bool(only_the_server))

    def test_is_a_valid_schema_and_accepts_the_shipped_files(self):
        jsonschema.Draft7Validator.check_schema(self.schema)
        shipped = ["server/campaigns.example.json", *(ROOT / "examples").rglob("campaigns.json")]
        self.assertGreater(len(shipped), 2)
        for path in shipped:
            self.validator.validate(read(path))


if __name__ == "__main__":
    unittest.main()
