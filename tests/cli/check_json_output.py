#!/usr/bin/env python3
"""Every line that `xmldsig verify --json` and `xmldsig refs --json` print must be valid under
docs/verify-output.schema.json, and every input must get exactly one object (per signature, or
one for the file when nothing in it could be checked).

Runs the tool over the whole corpus and over inputs that go wrong (a missing file, a directory,
a file that is not XML, a --signature the document does not have).

  check_json_output.py XMLDSIG SCHEMA CORPUS_DIR EXAMPLES_DIR

The validator covers the part of JSON Schema the schema uses (type, enum, required, properties,
additionalProperties, items, minimum) and refuses a schema that uses anything else, so that no
rule is silently ignored."""
import json
import os
import subprocess
import sys
import tempfile

KNOWN = {"$schema", "$id", "$defs", "title", "description", "type", "enum", "required",
         "properties", "additionalProperties", "items", "minimum"}
TYPES = {"object": dict, "array": list, "string": str, "boolean": bool}


def inline_refs(node, root):
    """Replaces each {"$ref": "#/$defs/NAME", ...} by the definition it names, merged."""
    if isinstance(node, list):
        return [inline_refs(n, root) for n in node]
    if not isinstance(node, dict):
        return node
    if "$ref" in node:
        name = node["$ref"].removeprefix("#/$defs/")
        merged = dict(root["$defs"][name], **{k: v for k, v in node.items() if k != "$ref"})
        return inline_refs(merged, root)
    return {k: (v if k == "$defs" else inline_refs(v, root)) for k, v in node.items()}


def check_schema(schema, where="schema"):
    unknown = set(schema) - KNOWN
    if unknown:
        raise SystemExit(f"{where}: keywords this validator does not implement: {sorted(unknown)}")
    for name, sub in schema.get("properties", {}).items():
        check_schema(sub, f"{where}.{name}")
    if "items" in schema:
        check_schema(schema["items"], f"{where}[]")


def errors(value, schema, where="$"):
    t = schema.get("type")
    if t == "integer":
        if not isinstance(value, int) or isinstance(value, bool):
            return [f"{where}: {value!r} is not an integer"]
    elif t is not None and (not isinstance(value, TYPES[t]) or
                            (t != "boolean" and isinstance(value, bool))):
        return [f"{where}: {value!r} is not of type {t}"]
    if "enum" in schema and value not in schema["enum"]:
        return [f"{where}: {value!r} is not one of {schema['enum']}"]
    if "minimum" in schema and value < schema["minimum"]:
        return [f"{where}: {value!r} is below {schema['minimum']}"]
    found = []
    if isinstance(value, dict):
        props = schema.get("properties", {})
        found += [f"{where}: {k} missing" for k in schema.get("required", []) if k not in value]
        if schema.get("additionalProperties", True) is False:
            found += [f"{where}: {k} is not in the schema" for k in value if k not in props]
        for k, v in value.items():
            if k in props:
                found += errors(v, props[k], f"{where}.{k}")
    if isinstance(value, list) and "items" in schema:
        for i, v in enumerate(value):
            found += errors(v, schema["items"], f"{where}[{i}]")
    return found


def run(tool, args):
    p = subprocess.run([tool] + args, capture_output=True, text=True, errors="replace")
    return p.returncode, p.stdout.splitlines()


def main():
    tool, schema_path, corpus, examples = sys.argv[1:5]
    with open(schema_path) as f:
        schema = json.load(f)
    schema = inline_refs(schema, schema)
    check_schema(schema)
    problems = []
    lines = 0

    def validate(label, out):
        nonlocal lines
        for line in out:
            lines += 1
            try:
                obj = json.loads(line)
            except ValueError as e:
                problems.append(f"{label}: not JSON ({e}): {line[:200]}")
                continue
            problems.extend(f"{label}: {e}" for e in errors(obj, schema))

    # The whole corpus: one object per signature, one per file without one.
    _, out = run(tool, ["verify", "--json", "-r", corpus])
    validate("verify -r corpus", out)
    files = {json.loads(l)["file"] for l in out if l.startswith("{")}
    documents = []
    for root, _, names in os.walk(corpus):
        documents += [os.path.join(root, n) for n in names if n.lower().endswith((".xml", ".ddoc"))]
    missing = [d for d in documents if d not in files]
    if missing:
        problems.append(f"verify -r: {len(missing)} inputs without an object, e.g. {missing[:3]}")
    for doc in sorted(documents):
        _, out = run(tool, ["refs", "--json", doc])
        validate(f"refs {doc}", out)
        if not out:
            problems.append(f"refs {doc}: no object")

    # Inputs that go wrong get an object each, and nothing else on standard output.
    with tempfile.TemporaryDirectory() as tmp:
        not_xml = os.path.join(tmp, "not.xml")
        with open(not_xml, "w") as f:
            f.write("<a><b></a>")
        example = os.path.join(examples, "invoice-enveloped.xml")
        bad = [["--json", "/nonexistent/x.xml"], ["--json", tmp], ["--json", not_xml],
               ["--json", "--signature", "5", example]]
        cases = [(c, args) for args in bad for c in ("verify", "refs")]
        cases.append(("verify", ["--json", "--no-refs", example]))
        # The trust objects of a checked signer: trusted, and untrusted with a reason.
        trust = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "data", "trust")
        anchor = ["--trust", os.path.join(trust, "pki", "root.pem"),
                  "--untrusted", os.path.join(trust, "pki", "inter.pem")]
        for doc in ("valid.xml", "forger.xml", "xades-match.xml"):
            cases.append(("verify", ["--json"] + anchor + [os.path.join(trust, "docs", doc)]))
        for command, args in cases:
            _, out = run(tool, [command] + args)
            validate(f"{command} {' '.join(args)}", out)
            if len(out) != 1:
                problems.append(f"{command} {' '.join(args)}: {len(out)} lines, expected 1")
            elif "--no-refs" in args and json.loads(out[0]).get("referencesChecked") is not False:
                problems.append("verify --no-refs: referencesChecked is not false")

    for p in problems[:50]:
        print(p)
    print(f"{lines} lines checked, {len(problems)} problems")
    return 1 if problems or lines < 300 else 0


if __name__ == "__main__":
    sys.exit(main())
