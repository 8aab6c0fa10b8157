"""A box that does not take what it is sent, and one that falls silent."""


def test_a_rejection_changes_nothing(bench):
    bench.expect("sigVersionData", within=1)
    before = bench.state("climate")
    bench.box("reject")  # the next frame
    bench.call("ac power")
    bench.expect("rx", "F0", within=1)
    bench.wait(1)
    assert bench.state("climate") == before


def test_the_head_unit_notices_a_silent_box(bench):
    bench.expect("notifyCanbusStatus", status=3, within=1)
    bench.box("silent")
    bench.expect("notifyCanbusStatus", status=0, within=60)
    bench.box("answering")
    bench.expect("notifyCanbusStatus", status=3, within=60)
