"""Reads the forms of a report back, as others would, and holds them to each other."""

import hashlib
import json
import re
import shutil
import subprocess
import threading
import xml.etree.ElementTree as ElementTree
from html.parser import HTMLParser

from jsonschema import Draft202012Validator

from devices import demand

STATE_VALUES = {"passed": 0, "hidden": 0, "warned": 1, "failed": 2}  # others: 3
SUMMARY_LIMIT = 2048  # bytes


class Schema:
    def __init__(self, path):
        self.rules = json.loads(path.read_text())
        Draft202012Validator.check_schema(self.rules)
        self.check = Draft202012Validator(self.rules)

    def read(self, document):
        report = json.loads(document.decode("utf-8"), object_pairs_hook=without_twins)
        wrong = next(self.check.iter_errors(report), None)
        demand(wrong is None, wrong and f"{wrong.json_path}: {wrong.message}")
        self.demand_described(report, self.rules, "$")
        return report

    def demand_described(self, value, rules, path):
        """A reader finds every key of a report in the schema."""
        rules = {**self.definition(rules), **rules}
        for choice in rules.get("oneOf", []):
            if self.definition(choice).get("type") == "object":
                rules = {**rules, **self.definition(choice)}
        if isinstance(value, dict) and "properties" in rules:
            for key, inner in value.items():
                demand(key in rules["properties"], f"{path}.{key} is not in the schema")
                described = rules["properties"][key]
                demand(
                    "description" in {**self.definition(described), **described},
                    f"{path}.{key} has no description",
                )
                self.demand_described(inner, described, f"{path}.{key}")
        elif isinstance(value, list):
            for inner in value:
                self.demand_described(inner, rules.get("items", {}), f"{path}[]")

    def definition(self, rules):
        return self.rules["$defs"].get(rules.get("$ref", "").removeprefix("#/$defs/"), rules)


def without_twins(pairs):
    keys = [key for key, _ in pairs]
    demand(len(keys) == len(set(keys)), f"a key stands twice in {keys}")
    return dict(pairs)


def read_junit(document, report):
    suites = ElementTree.fromstring(document)
    suite = suites.find("testsuite")
    cases = suite.findall("testcase")
    for counted in (suites, suite):
        for name, found in (
            ("tests", len(cases)),
            ("failures", len(suite.findall("testcase/failure"))),
            ("errors", len(suite.findall("testcase/error"))),
            ("skipped", len(suite.findall("testcase/skipped"))),
        ):
            demand(counted.get(name) == str(found), f"JUnit counts {counted.get(name)} {name}, and has {found}")
    states = {stage["id"]: stage["state"] for stage in report["stages"]}
    for case in cases:
        name = case.get("classname").removeprefix("vellum.")
        demand(junit_result(case) == expected_result(name, states), f"JUnit says {junit_result(case)} of {name}")
    demand(len(cases) >= len(states), "JUnit lacks stages")
    return len(cases) - len(states)


def junit_result(case):
    kinds = {child.tag for child in case} - {"system-out", "properties"}
    return "failed" if kinds in ({"failure"}, {"error"}) else kinds.pop() if kinds else "passed"


def expected_result(name, states):
    if name == "run":
        return "failed"
    return {0: "passed", 1: "passed", 2: "failed"}.get(STATE_VALUES.get(states[name], 3), "skipped")


class Metrics:
    """Holds the text format to its grammar, and each shape of it to the checker of the format, where there is one."""

    SAMPLE = re.compile(r'([a-z_:][a-z0-9_:]*)(?:\{([a-z0-9_]+="(?:[^"\\\n]|\\[\\n"])*"(?:,|(?=\})))+\})? (-?[0-9]+)')

    def __init__(self, checker):
        self.checker = shutil.which(checker or "promtool")
        self.shapes = set()
        self.lock = threading.Lock()

    def read(self, document, report):
        text = document.decode("utf-8")
        demand(text.endswith("\n"), "the last line of the metrics has no end")
        samples, typed = {}, set()
        for line in text.splitlines():
            if line.startswith("# TYPE "):
                demand(line.split()[2] not in typed, f"two types: {line}")
                typed.add(line.split()[2])
            elif not line.startswith("# HELP "):
                sample = self.SAMPLE.fullmatch(line)
                demand(sample, f"no sample: {line}")
                demand(sample[1] in typed, f"no type before: {line}")
                key = line.rsplit(" ", 1)[0]
                demand(key not in samples, f"twice: {line}")
                samples[key] = int(sample[3])
        self.compare(samples, report)
        self.ask_checker(document)

    def compare(self, samples, report):
        for stage in report["stages"]:
            shown = samples.get(f'vellum_stage_state{{id="{stage["id"]}"}}')
            demand(shown == STATE_VALUES.get(stage["state"], 3), f"metrics show {stage['id']} as {shown}")
        demand(samples["vellum_exit_code"] == report["exit_code"], "the metrics have another exit code")
        demand(samples["vellum_verdict"] == (report["verdict"] == "passed"), "the metrics have another verdict")
        accepted = report["evidence"] and int(report["evidence"]["accepted"])
        demand(samples.get("vellum_evidence_accepted") == accepted, "the metrics judge the evidence otherwise")
        demand(samples["vellum_cautions"] == len(report["cautions"]), "the metrics count other cautions")

    def ask_checker(self, document):
        shape = re.sub(rb" -?[0-9]+$", b" 0", document, flags=re.MULTILINE)
        with self.lock:
            known = shape in self.shapes
            self.shapes.add(shape)
        if self.checker and not known:
            asked = subprocess.run([self.checker, "check", "metrics"], input=document, capture_output=True)
            demand(asked.returncode == 0, f"promtool: {asked.stderr.decode()}")


def read_summary(line, report):
    demand(line.endswith(b"\n") and line.count(b"\n") == 1, "the summary is not one line")
    demand(len(line) <= SUMMARY_LIMIT, f"the summary has {len(line)} bytes")
    counts = report["counts"]
    begin = (
        f"vellum: {report['verdict']} (exit code {report['exit_code']}), failed {counts['failed']}, "
        f"warned {counts['warned']}, skipped {counts['skipped']}, cautions {counts['cautions']}"
    )
    demand(line.decode("utf-8").startswith(begin), f"the summary says {line!r}, not {begin!r}")
    if report["cause"]:
        demand(b"; cause: " in line and b"; do: " in line, "the summary does not tell the cause")


class Page(HTMLParser):
    """A page whose elements are closed, and which neither runs nor fetches anything."""

    VOID = {"area", "base", "br", "col", "embed", "hr", "img", "input", "link", "meta", "source", "track", "wbr"}
    FORBIDDEN = {"script", "iframe", "object", "embed", "link", "base", "img", "form"}

    def __init__(self, document):
        super().__init__(convert_charrefs=True)
        self.open = []
        self.words = []
        self.feed(document.decode("utf-8"))
        self.close()
        demand(not self.open, f"not closed: {self.open}")

    def handle_starttag(self, tag, attributes):
        demand(tag not in self.FORBIDDEN, f"the page has a {tag}")
        names = [name for name, _ in attributes]
        demand(len(names) == len(set(names)), f"an attribute stands twice in {tag}")
        for name, value in attributes:
            demand(not name.startswith("on"), f"the page runs {name}")
            fetched = name in ("src", "href", "action", "data") and not (value or "").startswith("#")
            demand(not fetched, f"the page fetches {value}")
        if tag not in self.VOID:
            self.open.append(tag)

    def handle_startendtag(self, tag, attributes):
        self.handle_starttag(tag, attributes)
        if tag not in self.VOID:
            self.open.pop()

    def handle_endtag(self, tag):
        demand(self.open and self.open[-1] == tag, f"</{tag}> closes {self.open[-1:]}")
        self.open.pop()

    def handle_data(self, data):
        self.words.append(data)


def read_page(document, report):
    demand(document[:15].lower() == b"<!doctype html>", "the page does not begin as one")
    page = Page(document)
    text = " ".join("".join(page.words).split())
    for stage in report["stages"]:
        shown = stage["state"] not in ("not_started", "not_applicable")
        demand(not shown or " ".join(stage["title"].split()) in text, f"the page lacks {stage['title']}")
    if report["cause"]:
        demand(report["cause"]["title"] in text, "the page does not tell the cause")


def read_inputs(device, report):
    """Each input is the file that it names, or what the recording holds of it."""
    for used in report["inputs"]:
        within = {"pmf": "firmware/gm_file_get.bin", "event_log": "tpm/event_log.bin"}
        path = device.folder / (used["path"] or f"device/{within[used['what']]}")
        content = path.read_bytes()
        if not used["path"]:
            content = content[max(len(content) - used["size"], 0):]
        same = (used["size"], used["sha256"]) == (len(content), hashlib.sha256(content).hexdigest())
        demand(same, f"{used['what']} is not as {path.name}")


class Readers:
    def __init__(self, schema, checker):
        self.schema = Schema(schema)
        self.metrics = Metrics(checker)

    def read(self, device, summary):
        """The report in JSON, once all forms of it agree."""
        report = self.schema.read(device.form("json"))
        runs = read_junit(device.form("junit"), report)
        apart = report["verdict"] in ("ended_early", "interrupted", "refused") or (
            report["verdict"] == "failed" and report["counts"]["failed"] == 0
        )
        demand(runs == apart, f"JUnit has {runs} cases of the run")
        self.metrics.read(device.form("metrics"), report)
        read_page(device.form("html"), report)
        read_inputs(device, report)
        if summary is not None:
            read_summary(summary, report)
        return report
