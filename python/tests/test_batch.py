"""Batches here, end to end on a small flop spot: the per-flop summaries
and tree files, the aggregate against sums done in the test, resuming
after a kill, refusals before anything runs, and the page in headless
Chromium."""

import csv
import json
import os
import shutil
import signal
import subprocess
import sys
import time

import pytest

from conftest import FLOP, write_spot
from kestrune import Solver
from kestrune.client import default_binary

HERE = os.path.dirname(__file__)
THREE = "As 7d 2c\nKh Qh 5h\n8s 8d 3c\n"


def run_batch(*args, env=None, timeout=300):
    return subprocess.run([sys.executable, "-m", "kestrune", "batch", *map(str, args), "--quiet"],
                          capture_output=True, text=True, cwd=os.path.join(HERE, ".."), env=env,
                          timeout=timeout)


def log_lines(folder, word):
    lines = (folder / "batch.log").read_text().splitlines()
    return [line.split()[2] for line in lines if line.split()[1] == word]


@pytest.fixture(scope="module")
def batch(tmp_path_factory):
    tmp = tmp_path_factory.mktemp("batch")
    spot = write_spot(tmp, FLOP)
    (tmp / "flops.txt").write_text(THREE)
    run = run_batch(spot, tmp / "flops.txt", "--out", tmp / "out", "--jobs", 2, "--dump")
    assert run.returncode == 0, run.stderr
    return tmp / "out"


def test_summaries_tree_files_and_aggregate(batch):
    summaries = {d.name: json.loads((d / "summary.json").read_text()) for d in (batch / "flops").iterdir()}
    assert sorted(summaries) == ["8s8d3c", "As7d2c", "KhQh5h"]
    with open(batch / "flops.csv") as f:
        rows = {r["flop"].replace(" ", ""): r for r in csv.DictReader(f)}
    for name, s in summaries.items():
        assert s["iterations"] == 20 and s["threads"] == 1
        assert s["ev"]["OOP"] + s["ev"]["IP"] == pytest.approx(55, abs=0.01)
        first = s["first_decisions"]
        assert first["OOP"]["actions"] == {"check": 1.0}      # no flop_oop sizes: OOP only checks
        assert first["IP"]["history"] == ["OOP check"] and first["IP"]["reach"] == 1.0
        assert set(first["IP"]["actions"]) == {"bet 18", "bet 41", "check"}   # 33% and 75% of 55
        assert sum(first["IP"]["actions"].values()) == pytest.approx(1, abs=1e-6)
        assert set(s["root_classes"]["JJ"] or []) and len(s["root_classes"]["JJ"]) == 1
        row = rows[name]
        assert float(row["weight"]) == {"As7d2c": 24, "KhQh5h": 4, "8s8d3c": 12}[name]
        assert float(row["ev_oop"]) == s["ev"]["OOP"]
        for action, freq in first["IP"]["actions"].items():
            assert float(row[f"IP {action}"]) == pytest.approx(freq)
        # The tree file loads in another process and answers as the solve did.
        with Solver() as other:
            other.command(f"load_tree {batch / 'flops' / name / 'tree.kst'}")
            other.pot = 55.0
            assert other.results()["ev_oop"] == pytest.approx(s["ev"]["OOP"], abs=1e-3)
    assert (batch / "report.html").exists() and all((batch / "flops" / n / "report.html").exists() for n in summaries)


def test_weighted_charts_by_hand():
    from kestrune.batch_report import charts
    # Two flops, weights 4 and 12; IP bets 18 (of 55) or checks.
    rows = [{"weight": 4, "suits": "monotone", "pairing": "unpaired", "connectedness": "draw", "high": "K",
             "ev_oop": 10.0, "first": {"IP": {"bet 18": 1.0, "bet 41": 0.0, "check": 0.0}}},
            {"weight": 12, "suits": "rainbow", "pairing": "unpaired", "connectedness": "dry", "high": "K",
             "ev_oop": 30.0, "first": {"IP": {"bet 18": 0.25, "bet 41": 0.25, "check": 0.5}}}]
    got = charts(rows, pot=55, stack=100)["IP"]
    # Bets: (4 * 1 + 12 * 0.5) / 16; size: (4*1*18 + 12*.25*18 + 12*.25*41) / (4 + 6) chips, of 55.
    assert got["all"]["bet"] == pytest.approx(10 / 16)
    assert got["all"]["size"] == pytest.approx(100 * (72 + 54 + 123) / 10 / 55)
    king = got["groups"]["high"][0]
    assert king["value"] == "K" and king["ev_oop"] == pytest.approx((40 + 360) / 16)
    assert [g["value"] for g in got["groups"]["suits"]] == ["monotone", "rainbow"]
    assert got["groups"]["suits"][1]["mix"] == {"bet 18": 0.25, "bet 41": 0.25, "check": 0.5}


def test_rerun_after_kill_solves_each_flop_once(tmp_path):
    spot = write_spot(tmp_path, FLOP.replace("max_iterations = 20", "max_iterations = 30"))
    (tmp_path / "flops.txt").write_text(THREE)
    out = tmp_path / "out"
    cmd = [sys.executable, "-m", "kestrune", "batch", spot, str(tmp_path / "flops.txt"), "--out", str(out), "--quiet"]
    proc = subprocess.Popen(cmd, cwd=os.path.join(HERE, ".."), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    deadline = time.monotonic() + 120
    # Kill while the second flop is in flight.
    while not ((out / "batch.log").exists() and len(log_lines(out, "start")) == 2) and time.monotonic() < deadline:
        time.sleep(0.05)
    proc.send_signal(signal.SIGKILL)   # no chance to clean up: the flop in flight is lost
    proc.wait()
    done_before = log_lines(out, "done")
    assert len(done_before) == 1 and len(log_lines(out, "start")) == 2
    run = run_batch(spot, tmp_path / "flops.txt", "--out", out)
    assert run.returncode == 0, run.stderr
    done = log_lines(out, "done")
    assert sorted(done) == ["8s8d3c", "As7d2c", "KhQh5h"]          # each exactly once
    assert log_lines(out, "start").count(done_before[0]) == 1       # the finished one not again
    again = run_batch(spot, tmp_path / "flops.txt", "--out", out)
    assert again.returncode == 0 and log_lines(out, "done") == done


def test_refusals_before_anything_runs(tmp_path):
    spot = write_spot(tmp_path, FLOP)
    flops = tmp_path / "flops.txt"
    flops.write_text(THREE)
    cases = [
        (write_spot(tmp_path, "As 7d 2c\n2c 3x 4d\n", "bad.txt"), spot, [], "bad.txt:2: unknown flop '2c3x4d'"),
        (flops, write_spot(tmp_path, FLOP.replace('"As 7d 2c"', '"As 7d 2c 9h"'), "turn.toml"), [],
         "the spot starts on the flop"),
        (flops, write_spot(tmp_path, FLOP.replace('"JJ-88', '"AsKs,JJ-88').replace(
            'ip_range = "AA-TT,AKs-AQs,KQs,AKo"', 'ip_range = "AsKs"'), "nohands.toml"), [],
         "the spot does not build on As 7d 2c: ERROR: build_tree"),
        (flops, spot, ["--slurm"], "Slurm is not installed here: no 'sbatch'"),
        (flops, spot, ["--jobs", "0"], "--jobs is 1 or more"),
    ]
    empty_path = dict(os.environ, PATH=str(tmp_path))   # no Slurm programs on it
    for flop_file, spot_file, extra, message in cases:
        out = tmp_path / "out"
        run = run_batch(spot_file, flop_file, "--out", out, *extra, env=empty_path if extra == ["--slurm"] else None)
        assert run.returncode == 2 and message in run.stderr, run.stderr
        assert not out.exists()
    if shutil.which("sinfo"):
        # A controller that isn't there, and short timeouts so that the
        # client gives up at once rather than after its retries.
        (tmp_path / "slurm.conf").write_text("ClusterName=none\nSlurmctldHost=localhost\nSlurmctldPort=1\n"
                                             "MessageTimeout=1\nTCPTimeout=1\n")
        run = run_batch(spot, flops, "--out", tmp_path / "out", "--slurm",
                        env=dict(os.environ, SLURM_CONF=str(tmp_path / "slurm.conf")), timeout=120)
        assert run.returncode == 2 and "Slurm does not answer" in run.stderr, run.stderr
        assert not (tmp_path / "out").exists()


def test_folder_of_another_batch_is_refused(batch, tmp_path):
    other = write_spot(tmp_path, FLOP.replace("pot = 55", "pot = 60"))
    (tmp_path / "flops.txt").write_text(THREE)
    run = run_batch(other, tmp_path / "flops.txt", "--out", batch)
    assert run.returncode == 2 and "holds a batch of another spot file" in run.stderr


def test_forget_rivers_before_dump(tmp_path):
    spot = write_spot(tmp_path, FLOP)
    (tmp_path / "flops.txt").write_text("Kh Qh 5h\n")
    out = tmp_path / "out"
    run = run_batch(spot, tmp_path / "flops.txt", "--out", out, "--forget-rivers")
    assert run.returncode == 0, run.stderr
    with Solver() as other:
        other.command(f"load_tree {out / 'flops' / 'KhQh5h' / 'tree.kst'}")
        assert "INCOMPLETE_TREE" in other.command("show_node r")[-1].split()
        assert other.command("show_strategy r:0:c")


def test_page_in_headless_chromium(batch):
    webdriver = pytest.importorskip("selenium.webdriver")
    if not shutil.which("chromedriver"):
        pytest.skip("chromium-driver is not installed (scripts/setup-toolkit --browser)")
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.by import By
    with open(batch / "flops.csv") as f:
        rows = list(csv.DictReader(f))
    options = webdriver.ChromeOptions()
    for arg in ("--headless=new", "--no-sandbox", "--disable-gpu", "--window-size=1400,900"):
        options.add_argument(arg)
    driver = webdriver.Chrome(options=options, service=Service(executable_path=shutil.which("chromedriver")))
    try:
        driver.get("file://" + str(batch / "report.html"))
        chart = driver.find_element(By.CSS_SELECTOR, '.chart[data-player="IP"][data-grouping="suits"]')
        shown = {r.get_attribute("data-group"): r.get_attribute("data-mix")
                 for r in chart.find_elements(By.CSS_SELECTOR, ".bar-row")}
        labels = chart.get_attribute("data-actions").split("|")
        for suits, mix in shown.items():
            group = [r for r in rows if r["suits"] == suits]
            weight = sum(float(r["weight"]) for r in group)
            want = [sum(float(r["weight"]) * float(r[f"IP {a}"]) for r in group) / weight for a in labels]
            assert mix == ",".join(f"{100 * x:.1f}" for x in want), suits
        assert set(shown) == {r["suits"] for r in rows}
        assert len(driver.find_elements(By.CSS_SELECTOR, "#flops tr[data-flop]")) == 3
        driver.find_element(By.CSS_SELECTOR, '#flops tr[data-flop="KhQh5h"] a.flop').click()
        assert driver.find_element(By.ID, "title").text == "batch test: Kh Qh 5h"
        assert driver.find_elements(By.CSS_SELECTOR, "#grid .cell")
    finally:
        driver.quit()
