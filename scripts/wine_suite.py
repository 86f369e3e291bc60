"""Runs the test programs that were built for Windows, on a Wine desktop of their own.

usage: wine_suite.py REPORTS      the folder that each program leaves its report in
"""

import pathlib
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests" / "e2e"))
from desktop import BUILD, Desktop  # noqa: E402

PROGRAM_SECONDS = 300

NO_REPORT = """<testsuite><testcase name="{name}"><failure message="{reason}"/></testcase></testsuite>
"""


def main(reports):
    programs = sorted((BUILD / "win32" / "tests").glob("*_tests.exe"))
    if not programs:
        sys.exit("no test programs in build/win32/tests")
    codes = []
    with Desktop() as desktop:
        for program in programs:
            print(f"-- {program.name}", flush=True)
            report = reports / f"{program.stem}.xml"
            codes.append(run(desktop, program, report))
            if not report.exists():
                reason = f"ended with {codes[-1]} and without a report"
                print(f"{program.name} {reason}", flush=True)
                report.write_text(NO_REPORT.format(name=program.stem, reason=reason))
    sys.exit(any(codes))


def run(desktop, program, report):
    environment = {**desktop.environment, "GTEST_OUTPUT": f"xml:Z:{report}"}
    try:
        return subprocess.run(["wine", program], env=environment, timeout=PROGRAM_SECONDS, check=False).returncode
    except subprocess.TimeoutExpired:
        return f"no end after {PROGRAM_SECONDS} seconds"


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]).resolve())
