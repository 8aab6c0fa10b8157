"""What the car's body tells, and what the head unit makes of it.

Each test has a bench of its own: the plug-in freshly loaded, a simulated CAN box at the other end, time that passes as
fast as the work is done. The readings are those of canbench's command `state`.
"""
import pytest


@pytest.mark.parametrize("place, reading", [
    ("front-left", "leftFrontDoorOpen"),
    ("front-right", "rightFrontDoorOpen"),
    ("rear-left", "leftRearDoorOpen"),
    ("rear-right", "rightRearDoorOpen"),
    ("back", "backDoorOpen"),
])
def test_a_door_opens_and_closes(bench, place, reading):
    bench.box(f"door {place} open")
    bench.expect("doorChanged", within=1, **{reading: True})
    open_doors = [name for name, value in bench.state("doors").items() if value is True]
    assert open_doors == [reading]
    bench.box(f"door {place} closed")
    bench.expect("doorChanged", within=1, **{reading: False})


def test_a_tyre_goes_flat(bench):
    bench.expect("sigVersionData", within=1)  # the box has been heard
    bench.box("tyre front-left 2.3 bar")
    bench.expect_state("tyres", frontLeftPressure=2.3, within=1)
    for pressure in (2.1, 1.7, 1.2):
        bench.box(f"tyre front-left {pressure} bar")
        bench.wait(60)  # a minute of the car's, a moment of ours
        assert bench.state("tyres")["frontLeftPressure"] == pytest.approx(pressure)
    told = [event["changed"]["frontLeftPressure"] for event in bench.signals("tireDataChanged")
            if "frontLeftPressure" in event["changed"]]
    assert told[-3:] == [2.1, 1.7, 1.2]
