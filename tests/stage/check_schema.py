"""Reads {"schema": ..., "scenes": [...]} from a file and prints the first complaint about each scene as a JSON array."""

import json
import sys

import jsonschema

with open(sys.argv[1], encoding="utf-8") as file:
    work = json.load(file)
jsonschema.Draft7Validator.check_schema(work["schema"])
validator = jsonschema.Draft7Validator(work["schema"])


def complaint(scene):
    error = jsonschema.exceptions.best_match(validator.iter_errors(scene))
    return "" if error is None else f"{error.json_path}: {error.message}"[:300]


json.dump([complaint(scene) for scene in work["scenes"]], sys.stdout)
