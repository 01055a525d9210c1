"""What runs a fleet elsewhere: the units, as systemd reads them, and the orchestrator's manifest."""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

import jsonschema
import yaml

SOURCE = pathlib.Path(__file__).parents[2]
VSANFLEET = os.environ["VSANFLEET"]
UNITS = pathlib.Path(os.environ["UNITS"])

# What an orchestrator wants of these kinds, of the fields that the manifest has; no other field is let in.
TEXT = {"type": "string", "minLength": 1}
NUMBER = {"type": "integer", "minimum": 1}


def record(required, **fields):
    return {"type": "object", "additionalProperties": False, "required": required, "properties": fields}


def kind(version, name, **fields):
    metadata = record(["name"], name={"type": "string", "pattern": "^[a-z0-9]([-a-z0-9]*[a-z0-9])?$"})
    return record(
        ["apiVersion", "kind", "metadata", *fields],
        apiVersion={"const": version},
        kind={"const": name},
        metadata=metadata,
        **fields,
    )


LABELS = {"type": "object", "additionalProperties": TEXT}
COMMAND = {"type": "array", "items": TEXT, "minItems": 1}
PROBE = record(
    ["exec"],
    exec=record(["command"], command=COMMAND),
    periodSeconds=NUMBER,
    timeoutSeconds=NUMBER,
    failureThreshold=NUMBER,
)
QUANTITY = {"type": "string", "pattern": "^[0-9]+(m|Ki|Mi|Gi)?$"}
RESOURCES = {"type": "object", "additionalProperties": record([], memory=QUANTITY, cpu=QUANTITY, storage=QUANTITY)}
CONTAINER = record(
    ["name", "image", "command"],
    name=TEXT,
    image=TEXT,
    command=COMMAND,
    startupProbe=PROBE,
    readinessProbe=PROBE,
    resources=RESOURCES,
    volumeMounts={"type": "array", "items": record(["name", "mountPath"], name=TEXT, mountPath=TEXT)},
)
POD = record(
    ["containers"],
    terminationGracePeriodSeconds=NUMBER,
    containers={"type": "array", "items": CONTAINER, "minItems": 1},
    volumes={"type": "array", "items": record(["name"], name=TEXT, configMap=record(["name"], name=TEXT))},
)
CLAIM = record(["accessModes", "resources"], accessModes={"type": "array", "items": TEXT}, resources=RESOURCES)
SCHEMAS = {
    "ConfigMap": kind("v1", "ConfigMap", data={"type": "object", "additionalProperties": TEXT}),
    "Service": kind("v1", "Service", spec=record(["selector"], clusterIP={"const": "None"}, selector=LABELS)),
    "StatefulSet": kind(
        "apps/v1",
        "StatefulSet",
        spec=record(
            ["serviceName", "selector", "template"],
            serviceName=TEXT,
            replicas=NUMBER,
            podManagementPolicy={"enum": ["OrderedReady", "Parallel"]},
            selector=record(["matchLabels"], matchLabels=LABELS),
            template=record(["metadata", "spec"], metadata=record(["labels"], labels=LABELS), spec=POD),
            volumeClaimTemplates={
                "type": "array",
                "items": record(["metadata", "spec"], metadata=record(["name"], name=TEXT), spec=CLAIM),
            },
        ),
    ),
}


def run(*words):
    return subprocess.run(words, capture_output=True, text=True, timeout=60, check=False)


class Manifest(unittest.TestCase):
    def setUp(self):
        text = (SOURCE / "packaging/fleet/statefulset.yaml").read_text()
        self.parts = {part["kind"]: part for part in yaml.safe_load_all(text)}
        self.pods = self.parts["StatefulSet"]["spec"]
        self.pod = self.pods["template"]["spec"]

    def test_has_the_kinds_and_their_fields(self):
        self.assertEqual(set(self.parts), set(SCHEMAS))
        for name, part in self.parts.items():
            jsonschema.validate(part, SCHEMAS[name])

    def test_names_lead_to_each_other(self):
        labels = self.pods["template"]["metadata"]["labels"]
        self.assertEqual(self.pods["selector"]["matchLabels"], labels)
        self.assertEqual(self.parts["Service"]["spec"]["selector"], labels)
        self.assertEqual(self.pods["serviceName"], self.parts["Service"]["metadata"]["name"])
        claims = [each["metadata"] for each in self.pods["volumeClaimTemplates"]]
        volumes = {each["name"] for each in self.pod["volumes"] + claims}
        for container in self.pod["containers"]:
            self.assertEqual({each["name"] for each in container["volumeMounts"]}, volumes)

    def test_its_description_has_a_host_a_pod(self):
        with tempfile.TemporaryDirectory() as folder:
            file = pathlib.Path(folder, "fleet.toml")
            file.write_text(self.parts["ConfigMap"]["data"]["fleet.toml"])
            name = self.parts["StatefulSet"]["metadata"]["name"]
            service = self.parts["Service"]["metadata"]["name"]
            lines = 0
            for number in range(self.pods["replicas"]):
                listed = run(VSANFLEET, "list", "--host", f"{name}-{number}", str(file))
                self.assertEqual(listed.returncode, 0, listed.stderr)
                self.assertIn(f",{name}-{number}.{service},1161,", listed.stdout)
                lines += listed.stdout.count("\n") - 1
            self.assertEqual(run(VSANFLEET, "list", str(file)).stdout.count("\n") - 1, lines)

    def test_its_commands_are_there(self):
        container = self.pod["containers"][0]
        mounted = {each["mountPath"] for each in container["volumeMounts"]}
        for command in (
            container["command"],
            container["startupProbe"]["exec"]["command"],
            container["readinessProbe"]["exec"]["command"],
        ):
            self.assertEqual(command[0], "vsanfleet")
            self.assertIn(str(pathlib.Path(command[-1]).parent), mounted)
            help_text = run(VSANFLEET, command[1], "--help")
            self.assertEqual(help_text.returncode, 0, help_text.stderr)
            for option in command[2:-1]:
                self.assertIn(option, help_text.stdout)


class Units(unittest.TestCase):
    def test_systemd_finds_no_fault(self):
        with tempfile.TemporaryDirectory() as folder:
            for name in ("vsanfleet@.service", "vsanfleet-host@.service"):
                text = re.sub(r"=/\S*/vsanfleet ", f"={VSANFLEET} ", (UNITS / name).read_text())
                pathlib.Path(folder, name).write_text(text)
                done = run("systemd-analyze", "verify", "--man=no", f"{folder}/{name}")
                self.assertEqual((done.returncode, done.stdout + done.stderr), (0, ""), name)


if __name__ == "__main__":
    unittest.main()
