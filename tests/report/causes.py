"""The table of what a report has to say of each spoilt device, and of what none of these reaches."""

from collections import defaultdict

from devices import demand

COLUMNS = ("device", "verdict", "cause class", "cause", "failed", "warned", "cautions", "signers")


def row_of(name, report):
    cause = report["cause"]
    return (
        name,
        report["verdict"],
        cause["cause_class"] if cause else "-",
        cause["id"] if cause else "-",
        findings_of(report, "failed"),
        findings_of(report, "warned"),
        " ".join(once(caution["id"] for caution in report["cautions"])) or "-",
        signers_of(report),
    )


def signers_of(report):
    """The roles of the chain of certificates, which has to be one."""
    signers = report["pmf"]["signers"]
    for below, above in zip(signers, signers[1:]):
        demand(below["issuer"] == above["subject"], f"{below['subject']} is not issued by {above['subject']}")
    return " ".join(signer["role"] for signer in signers) or "-"


def findings_of(report, state):
    """The stages of the state, each with the ids of its findings, the cause first."""
    stages = []
    for stage in report["stages"]:
        if stage["state"] == state:
            ids = once(finding["id"] or "(none)" for finding in stage["findings"])
            stages.append(f"{stage['id']}: {' '.join(ids)}".rstrip(": "))
    if state == "failed":
        outside = once(finding["id"] or "(none)" for finding in report["other_findings"])
        stages += [f"-: {' '.join(outside)}"] if outside else []
    return "; ".join(stages) or "-"


def once(ids):
    return list(dict.fromkeys(ids))


def read_table(path, columns):
    rows = {}
    for number, line in enumerate(path.read_text().splitlines(), 1):
        if not line.startswith("#"):
            cells = tuple(line.split("\t"))
            demand(len(cells) == columns, f"{path.name}:{number} has {len(cells)} columns, not {columns}")
            demand(cells[0] not in rows, f"{path.name}:{number}: {cells[0]} stands there twice")
            rows[cells[0]] = cells
    return rows


def write_table(path, rows):
    text = "# " + "\t".join(COLUMNS) + "\n" + "".join("\t".join(row) + "\n" for row in rows)
    path.write_text(text)


def compare(expected, rows, devices):
    """What is other than expected, a text each."""
    wrong = [f"{name}: it is in the table, and there is no such device" for name in set(expected) - set(devices)]
    for row in rows:
        known = expected.get(row[0])
        if known is None:
            wrong.append(f"{row[0]}: it is not in the table")
            continue
        for column, cell, said in zip(COLUMNS, known, row):
            if cell != said:
                wrong.append(f"{row[0]}: {column} should be\n    {cell}\nand is\n    {said}")
    return wrong


def known_ids(programs):
    """Every id that has words, by its kind."""
    ids, kind = defaultdict(set), ""
    for line in programs.text_of("vellum-report", "explain").splitlines():
        if line.startswith("  "):
            ids[kind].add(line.split()[0])
        elif line.strip():
            kind = line.strip()
    demand(set(ids) == {"Stages", "Findings", "Cautions"}, f"explain lists {set(ids)}")
    return ids["Findings"] | ids["Cautions"]


def ids_in(report):
    findings = [finding for stage in report["stages"] for finding in stage["findings"]]
    ids = {found["id"] for found in findings + report["other_findings"] + report["cautions"]}
    if report["cause"]:
        ids.add(report["cause"]["id"])
    return ids - {None}


def unaccounted(known, reached, excused):
    """Ids that nothing reaches and nobody excuses, and excuses for what is reached or unknown."""
    wrong = [f"{name}: it has words, and neither is it reached nor does unreached.tsv say why"
             for name in sorted(known - reached - set(excused))]
    wrong += [f"{name}: unreached.tsv has it, and it is reached" for name in sorted(set(excused) & reached)]
    return wrong + [f"{name}: unreached.tsv has it, and it has no words" for name in sorted(set(excused) - known)]
