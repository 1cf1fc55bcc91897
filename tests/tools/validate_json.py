#!/usr/bin/env python3
# Validates tal-machine's JSON output against the committed schemas.
#
# Usage: validate_json.py TAL_MACHINE SCHEMA_DIR DATA_DIR EXAMPLES_DIR
# Each case also names a property its output must hold, so that a schema that accepts
# everything would not pass unnoticed.
import json
import pathlib
import subprocess
import sys

import jsonschema

tool, schema_dir, data, examples = (pathlib.Path(a) for a in sys.argv[1:5])
schemas = {name: json.loads((schema_dir / name).read_text())
           for name in ("show.schema.json", "check.schema.json", "diagnostic.schema.json")}


def validator(name):
    schema = schemas[name]
    try:
        from referencing import Registry, Resource  # jsonschema 4.18 and later
        registry = Registry().with_resources(
            (s["$id"], Resource.from_contents(s)) for s in schemas.values())
        return jsonschema.Draft202012Validator(schema, registry=registry)
    except ImportError:
        store = {s["$id"]: s for s in schemas.values()}
        resolver = jsonschema.RefResolver(schema["$id"], schema, store=store)
        return jsonschema.Draft202012Validator(schema, resolver=resolver)


machine = str(examples / "machines" / "example-machine.xml")
cases = [
    # (arguments, schema, exit status, a check of the content)
    (["show", "--format", "json", machine], "show.schema.json", 0,
     lambda d: any(f["path"] == "Machine/Platform/Envelope/Dx" and f["mm"] == 250
                   for f in d["fields"])),
    (["show", "--format", "json", str(data / "bad-unit.xml")], "show.schema.json", 0,
     lambda d: [x["path"] for x in d["diagnostics"]] ==
     ["Machine/Unit", "Machine/ZCompensationParameters/PreserveThin"]),
    (["cl", "show", "--format", "json", str(examples / "conceptlaser" / "example.xml")],
     "show.schema.json", 0, lambda d: d["fields"][0]["path"].startswith("CLParameterFile/")),
    (["check", "--format", "json", machine, str(data / "bad-unit.xml"),
      str(data / "required-element.xml"), str(data / "not-xml.txt"),
      str(data / "no-such.xml")], "check.schema.json", 1,
     lambda d: [f["ok"] for f in d["files"]] == [True, False, False, False, False]),
]

failures = 0
for args, schema, status, holds in cases:
    run = subprocess.run([str(tool)] + args, capture_output=True, text=True)
    try:
        document = json.loads(run.stdout)
        validator(schema).validate(document)
        assert run.returncode == status, f"exit status {run.returncode}, expected {status}"
        assert holds(document), "the output does not hold what it should"
    except Exception as error:  # report every case, then fail
        failures += 1
        print(f"FAIL {' '.join(args)}: {error}", file=sys.stderr)
sys.exit(1 if failures else 0)
