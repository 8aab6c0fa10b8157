"""canbench for pytest. In conftest.py: pytest_plugins = ["canbench.fixtures"]

    def test_door(bench):
        bench.box("door front-left open")
        bench.expect("doorChanged", leftFrontDoorOpen=True, within=2)

Each test has a canbench of its own, with a fresh plug-in and box. pytest --bench-port DEVICE --bench-car-model ID runs
the same tests on a CAN box; those that use bench.box() are skipped there.
"""
import pytest

from . import Bench


def pytest_addoption(parser):
    group = parser.getgroup("canbench")
    group.addoption("--bench-program", metavar="FILE", help="the program canbench")
    group.addoption("--bench-port", metavar="DEVICE", help="a serial device with a CAN box, instead of one inside")
    group.addoption("--bench-car-model", metavar="ID", help="the id of the car model, where a test has none of its own")
    group.addoption("--bench-argument", metavar="OPTION", action="append", default=[], help="one more option of canbench's")


def pytest_configure(config):
    config.addinivalue_line("markers", "bench(**options): with which options of canbench.Bench the fixture bench begins")


@pytest.fixture
def make_bench(request):
    """Makes as many benches as a test wants, each with options of canbench.Bench."""
    def get(name):
        return request.config.getoption(name, None)  # a test's own pytest_plugins comes too late for options

    benches = []

    def make(**options):
        if "replay" not in options:
            options.setdefault("port", get("--bench-port"))
        options.setdefault("car_model", get("--bench-car-model"))
        options["arguments"] = [*(get("--bench-argument") or ()), *options.get("arguments", ())]
        bench = Bench(program=get("--bench-program"), **options)
        benches.append(bench)
        if options.get("port"):
            bench.box = lambda statement: pytest.skip(f"needs the box inside: {statement}")
        return bench

    yield make
    for bench in benches:
        bench.close()


@pytest.fixture
def bench(request, make_bench):
    """A running bench head unit, canbench.Bench; @pytest.mark.bench(car_model=23) gives it options."""
    marker = request.node.get_closest_marker("bench")
    return make_bench(**(marker.kwargs if marker else {}))
