"""A program in the place of the one that cuts recordings and joins pieces."""

# Cuts a recording of 30 frames a second and one second, a quarter of a frame before frames 12 and 24; joins by putting
# the pieces behind each other.
JOINER = """\
#!/usr/bin/python3
import json, sys
words = sys.argv[1:]
if words[0] == "--cuts":
    if "one" in words[-1]:
        print(json.dumps({"rate": "30/1", "pairs": 30, "pieces": [{"start": 0, "frames": 30}], "reason": "too short"}))
        sys.exit()
    if "bad" in words[-1]:
        print("Error: no pairs")
        sys.exit(1)
    cut = [number / 30 - 1 / 120 for number in (12, 24)]
    print("notice")
    print(json.dumps({"rate": "30/1", "pairs": 30, "pieces": [
        {"start": 0, "duration": cut[0], "frames": 12},
        {"start": cut[0], "duration": cut[1] - cut[0], "frames": 12}, {"start": cut[1], "frames": FRAMES}]}))
else:
    assert words[0] == "--recording" and words[2] == "--output", words
    with open(words[3], "wb") as movie:
        for piece in words[4:]:
            with open(piece, "rb") as file:
                movie.write(file.read())
"""


def use_joiner(library, frames=6):
    """Lets the library use it; `frames` is what it says of the last piece, which really has six."""
    joiner = library.folder / "veyrin-join"
    joiner.write_text(JOINER.replace("FRAMES", str(frames)), encoding="ascii")
    joiner.chmod(0o755)
    library.environment["VEYRIN_JOIN"] = str(joiner)
