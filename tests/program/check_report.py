"""Validates reports against the schema, and their parts against each other.

check_report.py SCHEMA REPORT...
"""

import json
import sys

import jsonschema

schema = json.load(open(sys.argv[1]))
jsonschema.Draft202012Validator.check_schema(schema)
for path in sys.argv[2:]:
    report = json.load(open(path))
    jsonschema.validate(report, schema)
    findings = report["findings"]
    files = {f["name"] for f in findings if f["object"] == "file"}
    assert len(files) == report["affected_files"], path
    keys = [(f["kind"], f["object"], f["name"]) for f in findings]
    assert len(set(keys)) == len(keys), path
    status = 0
    for finding in findings:
        if "acknowledged" not in finding:
            status |= 4 if finding["class"] == "damage" else 8
    assert status == report["status"], path
    assert sum(c["findings"] for c in report["causes"]) >= len(findings), path
    assert {c["kind"] for c in report["causes"]} >= {f["kind"] for f in findings}, path
    complete = all(row["looked_at"] == row["there_are"] for row in report["coverage"])
    assert complete == all(f["kind"] != "incomplete" for f in findings), path
    print(f"{path}: {len(findings)} findings, valid")
