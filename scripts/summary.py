"""Adds up the JUnit files of a folder and prints one closing line; fails when a test failed or none ran."""

import pathlib
import sys
import xml.etree.ElementTree as ElementTree


def main(folder):
    passed = failed = skipped = 0
    for path in sorted(pathlib.Path(folder).glob("*.xml")):
        for case in ElementTree.parse(path).getroot().iter("testcase"):
            name = f"{path.stem}: {case.get('name')}"
            if case.find("failure") is not None or case.find("error") is not None or case.get("status") == "fail":
                failed += 1
                print(f"failed: {name}")
            elif case.find("skipped") is not None or case.get("status") in ("notrun", "disabled"):
                skipped += 1
                print(f"skipped: {name}")
            else:
                passed += 1
    print(f"{passed} passed, {failed} failed, {skipped} skipped")
    return 0 if failed == 0 and passed > 0 else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
