"""The Python module and its fixtures: what the examples do not show, on all three lines."""
import subprocess

import canbench
import pytest

CAPTURE = "(0.010000) rx 2E2402400099\n(0.020000) do ac power\n(0.030000) rx 2E24020000D9\n"


def test_what_cannot_be_done_is_refused(bench):
    for command in ("fly", "ac", "box dor front-left open", "wait soon"):
        with pytest.raises(canbench.Refused, match=command):
            bench.command(command)
    for command in ("", " ", "# wait", "wait 1s\nwait 1s"):
        with pytest.raises(ValueError):
            bench.command(command)
    assert bench.call("ac power") == 0  # and the session goes on


def test_words_reach_canbench_as_they_are(bench):
    bench.box('version "X  """Y""""')
    bench.expect("sigVersionData", version='X  "Y"', within=1)


def test_a_failure_is_the_report_of_a_script(bench, tmp_path):
    bench.box("door front-left open")
    with pytest.raises(AssertionError) as failure:
        bench.expect("doorChanged", rightFrontDoorOpen=True, within=1)
    bench.expect_no("acStatusChanged", during=1)
    script = tmp_path / "script"
    script.write_text("box door front-left open\nexpect doorChanged rightFrontDoorOpen=true within 1s\n")
    told = subprocess.run([bench.program, "--script", script], stderr=subprocess.PIPE, stdout=subprocess.DEVNULL)
    assert told.returncode == 1 and "rightFrontDoorOpen=true" in str(failure.value)
    assert str(failure.value) in told.stderr.decode()


def test_a_capture_is_played_to_its_end(make_bench, tmp_path):
    capture = tmp_path / "a.canbox"
    capture.write_text(CAPTURE)
    bench = make_bench(replay=capture, car_model=153, arguments=["--speed", "max"])
    doors = [event["changed"]["leftFrontDoorOpen"] for event in bench if event.get("signal") == "doorChanged"]
    assert doors == [True, False] and bench.close() == 0
    with pytest.raises(canbench.Ended) as end:
        bench.wait(1)
    assert end.value.code == 0


def test_why_it_did_not_begin_is_told(make_bench, tmp_path):
    for options, code, text in (
        ({"port": tmp_path / "nothing", "car_model": 153}, 4, "nothing"),
        ({"port": tmp_path / "nothing"}, 2, "--car-model"),
        ({"replay": tmp_path / "nothing"}, 2, "nothing"),
    ):
        with pytest.raises(canbench.Ended, match=text) as end:
            make_bench(**options).wait(10)
        assert end.value.code == code
    with pytest.raises(canbench.BenchError, match="CANBENCH"):
        canbench.Bench(program=tmp_path / "nothing")
