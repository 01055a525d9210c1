"""matches_schema.py SCHEMA NAME FILE: whether the JSON in FILE, one document or one a line, is as SCHEMA's NAME says."""
import json
import sys

import jsonschema

schema_file, name, document_file = sys.argv[1:]
with open(schema_file, encoding="utf-8") as file:
    schema = json.load(file)
with open(document_file, encoding="utf-8") as file:
    text = file.read()
jsonschema.Draft202012Validator.check_schema(schema)
lines = text.splitlines() if name in ("history", "scenario", "error", "warning") else [text]
if not lines:
    sys.exit("nothing was printed")
for line in lines:
    jsonschema.validate(json.loads(line), schema["$defs"][name])
    jsonschema.validate(json.loads(line), schema)
