from pathlib import Path

REPOSITORY = Path(__file__).resolve().parents[2]


def pytest_addoption(parser):
    parser.addoption("--build", default=str(REPOSITORY / "build" / "release"), help="the build folder that is installed")
    parser.addoption("--cmake", default="cmake", help="the cmake that configured it")
