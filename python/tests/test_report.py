"""The study command end to end on a small turn spot, and the page as a
person sees it: headless Chromium opens report.html, clicks down two
actions, and the grid must show the numbers of the node's JSON."""

import json
import os
import shutil
import subprocess
import sys

import pytest

from conftest import TURN, write_spot

HERE = os.path.dirname(__file__)
SCREENSHOT = os.path.join(HERE, "..", "..", "build", "toolkit", "report.png")


@pytest.fixture(scope="module")
def study(tmp_path_factory):
    out = tmp_path_factory.mktemp("study")
    spot = write_spot(out, TURN + '\n[report]\nturns = "all"\nrivers = 2\n', "turn.toml")
    run = subprocess.run([sys.executable, "-m", "kestrune", "study", spot, "--out", str(out / "report"), "--quiet"],
                         capture_output=True, text=True, cwd=os.path.join(HERE, ".."), timeout=120)
    assert run.returncode == 0, run.stderr
    return out / "report", run.stdout


def test_study_writes_summary_and_page(study):
    folder, stdout = study
    summary = json.loads((folder / "summary.json").read_text())
    nodes = json.loads((folder / "nodes.json").read_text())
    assert summary["exploitability_pct"] <= 0.5 and summary["stopped"] == "required accuracy reached"
    assert summary["ev"]["OOP"] + summary["ev"]["IP"] == pytest.approx(100, abs=0.01)
    assert sum(summary["root_strategy"].values()) == pytest.approx(1, abs=1e-3)
    assert set(summary["root_strategy"]) == {"bet 50", "check"}
    # Turn root: every river is a chance node; two river cards are read below each.
    chance = [p for p, n in nodes.items() if n["kind"] == "chance"]
    assert chance and all(sum(1 for q in nodes if q.startswith(p + ":") and len(q) == len(p) + 3) == 2
                          for p in chance)
    assert str(folder / "report.html") in stdout.replace("\\", "/") or "report.html" in stdout
    page = (folder / "report.html").read_text()
    assert "http://" not in page and "https://" not in page   # nothing fetched from a network


def test_page_in_headless_chromium(study):
    webdriver = pytest.importorskip("selenium.webdriver")
    if not shutil.which("chromedriver"):
        pytest.skip("chromium-driver is not installed (scripts/setup-toolkit --browser)")
    from selenium.webdriver.common.by import By
    folder, _ = study
    nodes = json.loads((folder / "nodes.json").read_text())
    options = webdriver.ChromeOptions()
    for arg in ("--headless=new", "--no-sandbox", "--disable-gpu", "--window-size=1400,900"):
        options.add_argument(arg)
    from selenium.webdriver.chrome.service import Service
    service = Service(executable_path=shutil.which("chromedriver"))
    driver = webdriver.Chrome(options=options, service=service)
    try:
        driver.get("file://" + str(folder / "report.html"))
        for label in ("check", "bet 50"):
            driver.find_element(By.CSS_SELECTOR, f'button.action[data-label="{label}"]').click()
        node = nodes["r:0:c:b50"]
        assert node["player"] == "OOP" and node["actions"] == ["call", "fold"]
        here = driver.find_element(By.ID, "here").text
        assert here.startswith("OOP to act, pot 150")
        cells = driver.find_elements(By.CSS_SELECTOR, "#grid .cell")
        assert len(cells) == 169
        shown = {c.get_attribute("data-class"): c.get_attribute("data-strategy") for c in cells}
        for name, info in node["classes"].items():
            want = ",".join(f"{100 * x:.1f}" for x in info["strategy"])
            assert shown[name] == want, name
        assert sum(1 for v in shown.values() if v) == len(node["classes"])
        # Hovering a cell lists its combos.
        from selenium.webdriver.common.action_chains import ActionChains
        name = next(iter(node["classes"]))
        cell = driver.find_element(By.CSS_SELECTOR, f'#grid .cell[data-class="{name}"]')
        ActionChains(driver).move_to_element(cell).perform()
        table = driver.find_element(By.ID, "combos").text
        assert all(c[0][:2] in table for c in node["combos"][name])
        os.makedirs(os.path.dirname(SCREENSHOT), exist_ok=True)
        driver.save_screenshot(SCREENSHOT)
    finally:
        driver.quit()
