"""Adds up what the test programs reported and prints the closing line "N passed, N failed".

Usage: totals.py --failed-stages "NAME …" STAGE …

Each stage's CTest report (build/test-results/STAGE.xml) says which programs ran; a GoogleTest program's own report
(build/STAGE/results/PROGRAM.xml) counts its cases. Skipped or disabled cases, a missing report and a stage that failed
otherwise count as failures, so that nothing is left out silently.
"""

import argparse
import pathlib
import re
import sys
import xml.etree.ElementTree as ElementTree

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent


def count_googletest(path):
    """(passed, [failed or skipped case names]) of one GoogleTest report."""
    passed, failed = 0, []
    for case in ElementTree.parse(path).getroot().iter("testcase"):
        name = f"{case.get('classname')}.{case.get('name')}"
        ran = case.get("status") == "run" and case.get("result") == "completed"
        if ran and case.find("failure") is None and case.find("skipped") is None:
            passed += 1
        else:
            failed.append(name + ("" if ran else " (did not run)"))
    return passed, failed


def count_unittest(output):
    """(cases, failures) of a Python unittest program, from its closing lines; None when it is none."""
    ran = re.search(r"^Ran (\d+) tests? in ", output, flags=re.M)
    if ran is None:
        return None
    bad = sum(int(n) for n in re.findall(r"(?:failures|errors|skipped|unexpected successes)=(\d+)", output))
    return int(ran.group(1)), bad


def count_program(stage, case):
    """(passed, [failures]) of one CTest test."""
    name = case.get("name")
    completed = case.get("status") == "run"
    report = ROOT / "build" / stage / "results" / f"{name}.xml"
    if report.exists():
        passed, failed = count_googletest(report)
        if not completed and not failed:
            failed = ["(the program failed after its last case)"]
        return passed, [f"{name}: {one}" for one in failed]
    output = case.findtext("system-out") or ""
    if "[==========] Running " in output:
        return 0, [f"{name}: left no report of its cases"]
    counted = count_unittest(output)
    if counted is not None:
        cases, bad = counted
        if not completed:
            bad = max(bad, 1)
        return cases - bad, [f"{name}: {bad} of {cases} cases"] if bad else []
    return (1, []) if completed else (0, [name])


def count_stage(stage):
    report = ROOT / "build" / "test-results" / f"{stage}.xml"
    if not report.exists():
        return 0, [f"{stage}: was not tested"]
    passed, failed = 0, []
    for case in ElementTree.parse(report).getroot().iter("testcase"):
        more, bad = count_program(stage, case)
        passed += more
        failed += [f"{stage}: {one}" for one in bad]
    return passed, failed


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--failed-stages", default="")
    parser.add_argument("stages", nargs="+")
    options = parser.parse_args()
    failed_stages = options.failed_stages.split()

    passed, failed = 0, []
    for stage in options.stages:
        if stage == "lint":
            more, bad = (0, ["lint"]) if stage in failed_stages else (1, [])
        else:
            more, bad = count_stage(stage)
            if stage in failed_stages and not bad:
                bad = [f"{stage}: the stage failed"]
        print(f"{stage}: {more} passed, {len(bad)} failed")
        passed += more
        failed += bad
    for one in failed:
        print(f"FAILED {one}")
    print(f"{passed} passed, {len(failed)} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
