"""The Windows installer: what it puts where, what it leaves alone, and that nothing of it stays."""

import re
import shutil
import subprocess
import zipfile
from pathlib import Path

import pytest

from converter import Converter

REPOSITORY = Path(__file__).resolve().parents[2]
HOME = r"%LOCALAPPDATA%\Programs\veyrin-video-converter"
KEY = r"HKCU\Software\Microsoft\Windows\CurrentVersion\Uninstall\veyrin-video-converter"
ENVIRONMENT = r"HKCU\Environment"
# The installer's scripting language cuts texts at 1024 characters.
LONG_PATH = ";".join([r"%USERPROFILE%\bin", *(rf"C:\a folder with a long name\number {i}" for i in range(60)), r"C:\last"])
assert len(LONG_PATH) > 2000
# The uninstaller returns at once and goes on from a copy of itself. Its own file goes last, the key after it.
WAIT_UNTIL_GONE = rf"""set tries=0
:wait
reg query {KEY} >nul 2>nul || goto gone
set /a tries+=1
if %tries% geq 60 goto gone
ping -n 2 127.0.0.1 >nul
goto wait
:gone
"""


@pytest.fixture(scope="session")
def installer(request):
    path = Path(request.config.getoption("--installer"))
    if not path.exists():
        pytest.skip("there is no installer: NSIS was not there when the package was made")
    return path


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


class Session:
    """Commands for one start of Windows, of whose disk C: and registry nothing stays; and what they said."""

    def __init__(self, prefix, folder):
        self.prompt = Converter("cmd.exe", [*prefix, "--no-display"])
        self.folder = folder
        self.text = f"@echo off\nset home={HOME}\n"

    def run(self, command):
        self.text += command + "\n"

    def install(self, installer, folder=""):
        # The folder has to be the last option and takes no quotation marks.
        self.run(f"{windows_path(installer)} /S" + (f" /D={folder}" if folder else ""))

    def set_path(self, kind, text):
        text = text.replace("%", "%%")
        self.run(f'reg add {ENVIRONMENT} /v Path /t {kind} /d "{text}" /f >nul')

    def uninstall(self):
        self.run(r'"%home%\uninstall.exe" /S')
        self.text += WAIT_UNTIL_GONE

    def ask(self, name, *commands):
        """What the commands say is found under this name."""
        self.text += f"echo [{name}]\n"
        for command in commands:
            self.run(command)

    def copy(self, name):
        """A copy of the installed folder is found under this name."""
        self.run(rf'xcopy "%home%" "{windows_path(self.folder / name)}" /e /i /q >nul')

    def answers(self):
        script = self.folder / "session.cmd"
        script.write_text(self.text, newline="\r\n", encoding="utf-8")
        run = self.prompt.run("/c", windows_path(script), folder=self.folder, timeout=240, statuses=range(256))
        pieces = re.split(r"^\[(.*)\]\n", run.output.replace("\r\n", "\n"), flags=re.MULTILINE)
        return dict(zip(pieces[1::2], pieces[2::2]))


@pytest.fixture
def session(converter, tmp_path):
    return Session(converter.prefix, tmp_path)


def values_of(answer):
    """What `reg query` says, as name: (type, text)."""
    lines = [re.split(r" {4}", line.strip(), maxsplit=2) for line in answer.splitlines() if line.startswith("    ")]
    return {line[0]: (line[1], line[2] if len(line) > 2 else "") for line in lines}


def files_below(folder):
    return {str(path.relative_to(folder)): path.read_bytes() for path in folder.rglob("*") if path.is_file()}


def unpacked(package, folder):
    with zipfile.ZipFile(package) as archive:
        archive.extractall(folder)
    [home] = folder.iterdir()
    return files_below(home)


def version_of(installer):
    return re.search(r"-([0-9.]+)-windows", installer.name)[1]


@pytest.fixture
def earlier_installer(installer, converter, tmp_path):
    """An installer of version 0.0.1, made as ours is, of other files."""
    files = {"veyrin-path-entry.exe": None, "gone.dll": "gone", "library/gone/gone.py": "gone", "README.txt": "old"}
    content = tmp_path / "earlier"
    for name, text in files.items():
        (content / name).parent.mkdir(parents=True, exist_ok=True)
        if text is None:
            shutil.copy(converter.program.with_name(name), content / name)
        else:
            (content / name).write_text(text)
    deletions = [rf'Delete "$INSTDIR\{name}"'.replace("/", "\\") for name in files]
    words = {"CPACK_PACKAGE_VERSION": "0.0.1", "CPACK_TOPLEVEL_DIRECTORY": str(tmp_path),
             "CPACK_OUTPUT_FILE_NAME": "earlier.exe", "CPACK_TEMPORARY_DIRECTORY": str(content),
             "CPACK_NSIS_DELETE_FILES": "\n".join(deletions),
             "CPACK_NSIS_DELETE_DIRECTORIES": 'RMDir "$INSTDIR\\library\\gone"\nRMDir "$INSTDIR\\library"'}
    template = (REPOSITORY / "installer" / "NSIS.template.in").read_text(encoding="utf-8")
    script = tmp_path / "earlier.nsi"
    script.write_text(re.sub("@(CPACK_[A-Z_]+)@", lambda found: words[found[1]], template), encoding="utf-8")
    subprocess.run(["makensis", "-V1", "-WX", script], check=True, timeout=60)
    return tmp_path / "earlier.exe"


def test_files_path_and_list_of_programs(installer, session, request, tmp_path):
    session.set_path("REG_EXPAND_SZ", LONG_PATH)
    session.ask("before", f"reg query {ENVIRONMENT} /v Path")
    session.install(installer)
    session.ask("after", f"reg query {ENVIRONMENT} /v Path")
    session.ask("key", f"reg query {KEY}")
    session.ask("help", r'"%home%\veyrin-video-converter.exe" --help')
    session.copy("installed")
    session.ask("home", "echo %home%")
    session.uninstall()
    session.ask("end", f"reg query {ENVIRONMENT} /v Path", f"reg query {KEY} 2>nul && echo the key is there",
                'if exist "%home%" echo the folder is there')
    answers = session.answers()

    home = answers["home"].strip()
    assert home.endswith(r"\AppData\Local\Programs\veyrin-video-converter")
    assert values_of(answers["before"]) == {"Path": ("REG_EXPAND_SZ", LONG_PATH)}
    assert values_of(answers["after"]) == {"Path": ("REG_EXPAND_SZ", f"{LONG_PATH};{home}")}
    assert values_of(answers["end"]) == {"Path": ("REG_EXPAND_SZ", LONG_PATH)}
    assert " is there" not in answers["end"]
    key = values_of(answers["key"])
    assert key["DisplayName"] == ("REG_SZ", "veyrin-video-converter")
    assert key["DisplayVersion"] == ("REG_SZ", version_of(installer))
    assert key["QuietUninstallString"] == ("REG_SZ", rf'"{home}\uninstall.exe" /S')
    assert answers["help"].startswith("Usage: veyrin-video-converter ")
    installed = files_below(tmp_path / "installed")
    assert installed.pop("uninstall.exe").startswith(b"MZ")
    assert installed == unpacked(request.config.getoption("--package"), tmp_path / "unpacked")


def test_what_was_not_installed_stays(installer, session):
    # REG_SZ: a Path whose percent signs mean themselves must not begin to mean something.
    session.set_path("REG_SZ", r"C:\100%;C:\b")
    session.install(installer)
    session.run(r'echo mine >"%home%\ffmpeg-gpl.exe"')
    session.run(r'echo mine >"%home%\library\list.txt"')
    session.uninstall()
    session.ask("left", r'dir /b "%home%"', r'dir /b "%home%\library"')
    session.ask("path", f"reg query {ENVIRONMENT} /v Path")
    answers = session.answers()
    assert sorted(answers["left"].split()) == ["ffmpeg-gpl.exe", "library", "list.txt"]
    assert values_of(answers["path"]) == {"Path": ("REG_SZ", r"C:\100%;C:\b")}


def test_a_user_without_path_has_none_afterwards(installer, session):
    session.install(installer)
    session.ask("after", f"reg query {ENVIRONMENT}")
    session.uninstall()
    session.ask("end", f"reg query {ENVIRONMENT}")
    answers = session.answers()
    kind, text = values_of(answers["after"])["Path"]
    assert kind == "REG_EXPAND_SZ" and text.endswith(r"\veyrin-video-converter")
    end = values_of(answers["end"])
    assert "TEMP" in end and "Path" not in end


def test_an_earlier_version_leaves_no_files(installer, earlier_installer, session, request, tmp_path):
    session.install(earlier_installer)
    session.copy("before")
    session.run(r'echo mine >"%home%\ffmpeg-gpl.exe"')
    session.install(installer)
    session.copy("after")
    session.ask("home", "echo %home%")
    session.ask("path", f"reg query {ENVIRONMENT} /v Path")
    session.ask("key", f"reg query {KEY}")
    answers = session.answers()
    assert {"gone.dll", "library/gone/gone.py"} <= files_below(tmp_path / "before").keys()
    after = files_below(tmp_path / "after")
    assert after.pop("ffmpeg-gpl.exe").strip() == b"mine"
    del after["uninstall.exe"]
    assert after == unpacked(request.config.getoption("--package"), tmp_path / "unpacked")
    assert values_of(answers["path"])["Path"][1] == answers["home"].strip()
    assert values_of(answers["key"])["DisplayVersion"] == ("REG_SZ", version_of(installer))


def test_an_earlier_version_elsewhere_is_replaced(installer, earlier_installer, session):
    session.install(earlier_installer, r"C:\Old Tools\converter")
    session.ask("before", r'dir /b "C:\Old Tools\converter"')
    session.install(installer, r"C:\New Tools\converter")
    session.ask("path", f"reg query {ENVIRONMENT} /v Path")
    session.ask("folders", r'if exist "C:\Old Tools\converter" echo the old one is there',
                r'"C:\New Tools\converter\veyrin-video-converter.exe" --help')
    answers = session.answers()
    assert "gone.dll" in answers["before"].split()
    assert values_of(answers["path"]) == {"Path": ("REG_EXPAND_SZ", r"C:\New Tools\converter")}
    assert answers["folders"].startswith("Usage: veyrin-video-converter ")


def test_files_that_could_not_be_written_are_a_failure(installer, session):
    session.run(r'mkdir "%home%\README.txt"')
    session.install(installer)
    session.ask("status", "echo %errorlevel%")
    session.ask("path", f"reg query {ENVIRONMENT} /v Path 2>nul")
    session.uninstall()
    session.ask("left", r'dir /b "%home%"')
    answers = session.answers()
    assert answers["status"].strip() == "2"
    assert not values_of(answers["path"])
    assert answers["left"].split() == ["README.txt"]
