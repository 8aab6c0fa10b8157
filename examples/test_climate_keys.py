"""A climate key's bytes, which depend on the car.

Some cars take a key as a code, pressed and released; the others as one bit of six bytes. The bytes here are the frame:
2E, type, length, payload, checksum.
"""
import pytest

CAMRY_PORTRAIT = 153
OTHER = 20


@pytest.mark.parametrize("car, key, frames", [
    (CAMRY_PORTRAIT, "power", ["2EE00201011B", "2EE00201001C"]),
    (CAMRY_PORTRAIT, "ac", ["2EE002170105", "2EE002170006"]),
    (OTHER, "power", ["2EC706800000000000B2"]),
    (OTHER, "ac", ["2EC70602000000000030"]),
])
def test_a_key_is_sent_as_the_car_takes_it(make_bench, car, key, frames):
    bench = make_bench(car_model=car)
    bench.call(f"ac {key}")
    for frame in frames:
        bench.expect("tx", frame, within=1)


def test_the_car_answers_the_key(bench):
    powered_off = bench.state("climate")["powerOff"]
    bench.call("ac power")
    bench.expect("acStatusChanged", powerOff=not powered_off, within=1)
