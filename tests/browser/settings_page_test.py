#!/usr/bin/python3
"""The settings page of `sensorctl serve` in a real browser.

Runs `sensorctl serve` on copies of the sample device trees and drives the page
in headless Chromium through Selenium (Debian's chromium, chromium-driver and
python3-selenium, used through /usr/bin/python3):

  * box camera: every tab and item of the narrowed style is shown with the
    control its type asks for; moving the brightness slider shows the ISP set
    of command 34 with that value in the activity panel and the API reports
    it; choosing a scheme updates the status bar; a time-plan switch caused
    through the fake clock updates the shown values; a malformed request sent
    from the page's console shows the server's error; a value the ISP
    corrects is shown corrected; a screenshot is saved;
  * every sample tree (box, dome, thermal, lpr, fisheye): the page shows all
    tabs and items, and the browser logs no error.

Any error in the browser's console fails the test (the one network error the
malformed request causes on purpose excepted).

Usage: settings_page_test.py --sensorctl PATH --out DIR [--models box,dome,...]
Exit status 0 when everything passed; the screenshot's path is printed.
"""
import argparse
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import urllib.error
import urllib.request

from selenium import webdriver
from selenium.common.exceptions import TimeoutException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select, WebDriverWait

MODELS = ["box", "dome", "thermal", "lpr", "fisheye"]
WAIT = 20  # seconds any one thing on the page may take to appear


class TestFailure(Exception):
    pass


def check(condition, message):
    if not condition:
        raise TestFailure(message)


# ---------------------------------------------------------------- sensorctl serve

class Server:
    """sensorctl serve on a fresh copy of a sample device tree."""

    def __init__(self, sensorctl, model, workdir):
        self.model = model
        self.root = os.path.join(workdir, model)
        subprocess.run([sensorctl, "init-root", self.root, "--model", model], check=True,
                       stdout=subprocess.DEVNULL)
        self.out_path = os.path.join(workdir, model + ".serve.out")
        env = {k: v for k, v in os.environ.items() if not k.startswith("TARNIX_")}
        self.out = open(self.out_path, "w")
        self.proc = subprocess.Popen([sensorctl, "--root", self.root, "--clock", "12:00", "serve", "--port", "0"],
                                     stdout=self.out, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL, env=env)
        self.url = None
        pattern = re.compile(r"^(http://127\.0\.0\.1:(\d+)/)\?token=([0-9a-f]{32})$")
        deadline = time.time() + WAIT
        while time.time() < deadline and self.url is None:
            with open(self.out_path) as f:
                for line in f:
                    match = pattern.match(line.strip())
                    if match:
                        self.url = match.group(0)
                        self.base = match.group(1)
                        self.token = match.group(3)
            if self.proc.poll() is not None:
                break
            time.sleep(0.05)
        check(self.url is not None, "%s: sensorctl serve printed no URL:\n%s" % (model, self.output()))

    def output(self):
        with open(self.out_path) as f:
            return f.read()

    def api(self, method, path, body=None, content_type="application/json"):
        data = None
        headers = {}
        if method != "GET":
            headers["X-Tarnix-Token"] = self.token
            headers["Content-Type"] = content_type
            data = body.encode() if isinstance(body, str) else json.dumps(body or {}).encode()
        request = urllib.request.Request(self.base + path.lstrip("/"), data=data, headers=headers, method=method)
        try:
            with urllib.request.urlopen(request, timeout=WAIT) as response:
                return response.status, json.loads(response.read())
        except urllib.error.HTTPError as e:
            return e.code, json.loads(e.read())

    def post_ok(self, path, body, content_type="application/json"):
        status, answer = self.api("POST", path, body, content_type)
        check(status == 200, "%s: POST %s %r -> %d %s" % (self.model, path, body, status, answer))
        return answer

    def stop(self):
        if self.proc.poll() is None:
            self.proc.send_signal(signal.SIGTERM)
            try:
                code = self.proc.wait(timeout=WAIT)
            except subprocess.TimeoutExpired:
                self.proc.kill()
                self.proc.wait()
                raise TestFailure("%s: sensorctl serve did not stop on SIGTERM" % self.model)
            check(code == 0, "%s: sensorctl serve exited with %d:\n%s" % (self.model, code, self.output()[-2000:]))
        self.out.close()


# ---------------------------------------------------------------- browser

def make_browser(workdir):
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for flag in ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                 "--disable-background-networking", "--disable-component-update", "--disable-sync",
                 "--disable-dev-shm-usage", "--window-size=1360,900",
                 "--user-data-dir=" + os.path.join(workdir, "chromium-profile")]:
        options.add_argument(flag)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


def console_problems(browser, allowed_network=()):
    """Browser console entries that fail the test: every error or warning,
    except network errors matching one of the allowed patterns."""
    problems = []
    for entry in browser.get_log("browser"):
        level = entry.get("level")
        source = entry.get("source", "")
        text = entry.get("message", "")
        if level not in ("SEVERE", "WARNING"):
            continue
        if source == "network" and any(re.search(p, text) for p in allowed_network):
            continue
        problems.append("%s %s: %s" % (level, source, text))
    return problems


def wait_for(browser, what, condition, timeout=WAIT):
    try:
        return WebDriverWait(browser, timeout, poll_frequency=0.05).until(lambda b: condition(b))
    except TimeoutException:
        raise TestFailure("timed out waiting for " + what)


def item_row(browser, tab_index, item_id):
    return browser.find_element(By.CSS_SELECTOR, '.panel[data-tab="%d"] .item[data-id="%d"]' % (tab_index, item_id))


def shown_value(browser, item_id):
    rows = browser.find_elements(By.CSS_SELECTOR, '.item[data-id="%d"] .val' % item_id)
    return rows[0].get_attribute("textContent") if rows else None


def load_page(browser, server):
    status, style = server.api("GET", "/api/style")
    check(status == 200, "%s: GET /api/style -> %d" % (server.model, status))
    status, parameters = server.api("GET", "/api/parameters")
    check(status == 200, "%s: GET /api/parameters -> %d" % (server.model, status))
    values = {}
    for record in parameters["parameters"]:
        values.setdefault(record["key"], record["value"])
    browser.get(server.url)
    wait_for(browser, server.model + ": the tabs",
             lambda b: len(b.find_elements(By.CSS_SELECTOR, "nav#tabs button")) == len(style["tabs"]))
    # The values arrive after the style.
    first = next((i for t in style["tabs"] for i in t["items"] if i["id"] in values and i["type"] != "label"), None)
    if first is not None:
        wait_for(browser, server.model + ": the values",
                 lambda b: shown_value(b, first["id"]) == str(values[first["id"]]))
    return style, values


# What the page shows of every item of one panel, read in one go: its row's
# visibility, text, hover text, control and shown value.
READ_PANEL = """
const panel = document.querySelector('.panel[data-tab="' + arguments[0] + '"]');
const shown = (node) => !!node && node.getClientRects().length > 0 && getComputedStyle(node).visibility !== 'hidden';
const others = Array.from(document.querySelectorAll('.panel')).filter((p) => p !== panel && shown(p)).length;
const items = Array.from(panel.querySelectorAll('.item')).map((row) => {
  const control = row.querySelector('input, select, .label-text');
  let kind = 'none';
  if (control && control.tagName === 'SELECT') kind = 'select';
  else if (control && control.tagName === 'INPUT') kind = control.type;
  else if (control) kind = 'label';
  return {
    id: parseInt(row.dataset.id, 10), shown: shown(row), text: row.textContent, title: row.title, kind: kind,
    min: control && control.getAttribute ? control.getAttribute('min') : null,
    max: control && control.getAttribute ? control.getAttribute('max') : null,
    value: control && 'value' in control ? String(control.value) : null,
    options: kind === 'select' ? Array.from(control.options).map((o) => o.textContent) : [],
    val: row.querySelector('.val').textContent
  };
});
return {shown: shown(panel), others: others, items: items};
"""

CONTROL_KIND = {"slider": "range", "combo": "select", "label": "label", "switch": "checkbox"}


def check_every_tab_and_item(browser, server, style, values):
    """Every tab of the style, in order, with its name; every item in it shown
    with its name, its key id and key name on hover and its control."""
    buttons = browser.find_elements(By.CSS_SELECTOR, "nav#tabs button")
    names = [b.text for b in buttons]
    expected = [t["name"] or t["key"] for t in style["tabs"]]
    check(names == expected, "%s: tabs %r, style has %r" % (server.model, names, expected))
    count = 0
    for index, tab in enumerate(style["tabs"]):
        buttons[index].click()
        page = browser.execute_script(READ_PANEL, index)
        where = "%s: tab %s" % (server.model, tab["key"])
        check(page["shown"] and page["others"] == 0, where + ": its panel alone is not shown")
        rows = page["items"]
        check([r["id"] for r in rows] == [i["id"] for i in tab["items"]],
              "%s: items %r, style has %r" % (where, [r["id"] for r in rows], [i["id"] for i in tab["items"]]))
        for item, row in zip(tab["items"], rows):
            what = "%s: item %d" % (where, item["id"])
            check(row["shown"], what + " is not shown")
            check(not item["name"] or item["name"] in row["text"], "%s shows %r, not its name" % (what, row["text"]))
            check(("id %d" % item["id"]) in row["title"] and item["keyName"] in row["title"],
                  "%s: hover text %r" % (what, row["title"]))
            kind = CONTROL_KIND.get(item["type"], "number")
            check(row["kind"] == kind, "%s: %s control for type %r" % (what, row["kind"], item["type"]))
            if kind in ("range", "number"):
                for bound in ("min", "max"):
                    if item[bound] is not None:
                        check(row[bound] == str(item[bound]), "%s: %s %r" % (what, bound, row[bound]))
            if kind == "select":
                for option in item["options"]:
                    check(option["name"] in row["options"], "%s lacks the choice %r" % (what, option["name"]))
            if item["id"] in values and kind != "label":
                value = str(values[item["id"]])
                check(row["val"] == value, "%s shows %r, the scheme holds %s" % (what, row["val"], value))
                if kind in ("range", "select", "number"):
                    check(row["value"] == value, "%s: its control holds %r, not %s" % (what, row["value"], value))
            count += 1
    return count


def tab_index(style, key):
    return next(i for i, t in enumerate(style["tabs"]) if t["key"] == key)


# ---------------------------------------------------------------- the box camera

def box_scenario(browser, server, out_dir):
    style, values = load_page(browser, server)
    items = check_every_tab_and_item(browser, server, style, values)
    print("box: %d tabs, %d items shown" % (len(style["tabs"]), items))

    # Brightness: five steps to the right from 50.
    image = tab_index(style, "image")
    browser.find_elements(By.CSS_SELECTOR, "nav#tabs button")[image].click()
    slider = item_row(browser, image, 34).find_element(By.CSS_SELECTOR, "input[type=range]")
    start = int(slider.get_attribute("value"))
    browser.execute_script("arguments[0].focus();", slider)
    for _ in range(5):
        slider.send_keys(Keys.ARROW_RIGHT)
    target = start + 5
    wait_for(browser, "the ISP set of command 34 with %d in the activity panel" % target,
             lambda b: b.find_elements(By.CSS_SELECTOR,
                                       '#log .call[data-opt="set"][data-cmd="34"][data-values="%d"]' % target))
    wait_for(browser, "brightness %d shown" % target, lambda b: shown_value(b, 34) == str(target))
    status, parameters = server.api("GET", "/api/parameters")
    reported = [p["value"] for p in parameters["parameters"] if p["key"] == 34]
    check(reported == [target], "the API reports brightness %r, the slider moved to %d" % (reported, target))
    print("box: slider moved to %d, ISP set 34 = %d shown, API reports it" % (target, target))

    # A scheme chosen on the page.
    Select(browser.find_element(By.ID, "scheme-select")).select_by_value("2")
    wait_for(browser, "the status bar to show scheme 2",
             lambda b: b.find_element(By.ID, "st-scheme").text == "2")
    status, state = server.api("GET", "/api/state")
    check(state["scheme"] == 2, "the API reports scheme %r after choosing 2" % state["scheme"])
    print("box: scheme 2 chosen, status bar shows it")

    # The time plan: scheme 1 all day with brightness 20, scheme 0 from 12:00
    # with brightness 80.
    server.post_ok("/api/mode", {"mode": 0})
    server.post_ok("/api/scheme", {"scheme": 1})
    server.post_ok("/api/parameters", "(34,20)", "text/plain")
    server.post_ok("/api/scheme", {"scheme": 0})
    server.post_ok("/api/parameters", "(34,80)(8001,12)(8000,1)", "text/plain")
    server.post_ok("/api/mode", {"mode": 1})
    wait_for(browser, "brightness 80 of scheme 0", lambda b: shown_value(b, 34) == "80")
    wait_for(browser, "the scheme mode", lambda b: b.find_element(By.ID, "st-mode").text == "time plan")
    clock = browser.find_element(By.ID, "clock-input")
    clock.clear()
    clock.send_keys("07:00")
    browser.find_element(By.ID, "clock-set").click()
    wait_for(browser, "the status bar to show scheme 1 after the clock moved to 07:00",
             lambda b: b.find_element(By.ID, "st-scheme").text == "1")
    wait_for(browser, "brightness 20 of scheme 1", lambda b: shown_value(b, 34) == "20")
    slider = item_row(browser, image, 34).find_element(By.CSS_SELECTOR, "input[type=range]")
    check(slider.get_attribute("value") == "20", "the slider holds %r after the switch" % slider.get_attribute("value"))
    wait_for(browser, "the sensor thread's switch in the activity panel",
             lambda b: b.find_elements(By.CSS_SELECTOR, '#log li.switch[data-to="1"]'))
    check("07:00" in browser.find_element(By.ID, "st-clock").text, "the status bar shows no 07:00 clock")
    print("box: clock 07:00 on the page, the time plan switched to scheme 1, values followed")
    why = browser.find_element(By.ID, "why")
    why.click()
    wait_for(browser, "why? to explain scheme 1 at 07:00",
             lambda b: "scheme 1 is in force" in b.find_element(By.ID, "why-out").text)
    check("scheme 1: 00:00-24:00 holds 07:00" in browser.find_element(By.ID, "why-out").text,
          "why? does not name the window that holds 07:00")
    why.click()
    wait_for(browser, "why? to close", lambda b: not b.find_element(By.ID, "why-out").is_displayed())
    print("box: why? explains scheme 1 by its window")

    screenshot = os.path.join(out_dir, "settings-page.png")
    browser.save_screenshot(screenshot)

    clock.clear()
    clock.send_keys("12:00")
    browser.find_element(By.ID, "clock-set").click()
    wait_for(browser, "scheme 0 again at 12:00", lambda b: b.find_element(By.ID, "st-scheme").text == "0")
    wait_for(browser, "brightness 80 again", lambda b: shown_value(b, 34) == "80")

    # A malformed request from the console.
    text = browser.find_element(By.ID, "console-text")
    text.send_keys("(34,abc)")
    browser.find_element(By.ID, "console-send").click()
    wait_for(browser, "the console to show the error",
             lambda b: "HTTP 400" in b.find_element(By.ID, "console-out").text)
    shown = browser.find_element(By.ID, "console-out").text
    check("bad parameter text" in shown, "the console shows %r" % shown)
    check(shown_value(browser, 34) == "80", "brightness changed by a malformed request")
    print("box: malformed console request shows: " + shown)

    # A value the ISP corrects: the box's ISP offers 2 to 22 for the slowest
    # shutter (item 49); 0 is applied as sent and the page shows what the
    # corrected read gives.
    text.clear()
    text.send_keys("(49,0)")
    browser.find_element(By.ID, "console-send").click()
    wait_for(browser, "the console to show the applied record",
             lambda b: "HTTP 200: result 0" in b.find_element(By.ID, "console-out").text)
    wait_for(browser, "the slowest shutter shown corrected to 2", lambda b: shown_value(b, 49) == "2")
    print("box: (49,0) sent from the console, the page shows the ISP's corrected 2")

    problems = console_problems(browser, allowed_network=[r"/api/parameters .*400"])
    check(not problems, "box: browser console:\n  " + "\n  ".join(problems))
    return screenshot


def render_scenario(browser, server):
    style, values = load_page(browser, server)
    items = check_every_tab_and_item(browser, server, style, values)
    problems = console_problems(browser)
    check(not problems, "%s: browser console:\n  %s" % (server.model, "\n  ".join(problems)))
    print("%s: %d tabs, %d items shown, no console errors" % (server.model, len(style["tabs"]), items))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--sensorctl", required=True)
    parser.add_argument("--out", required=True, help="directory for the screenshot")
    parser.add_argument("--models", default=",".join(MODELS))
    args = parser.parse_args()
    os.makedirs(args.out, exist_ok=True)
    started = time.time()
    workdir = tempfile.mkdtemp(prefix="tarnix-browser-")
    browser = None
    server = None
    try:
        browser = make_browser(workdir)
        screenshot = None
        for model in args.models.split(","):
            server = Server(args.sensorctl, model, workdir)
            if model == "box":
                screenshot = box_scenario(browser, server, args.out)
            else:
                render_scenario(browser, server)
            # Leave the page before its server goes, so that it stops polling.
            browser.get("about:blank")
            problems = console_problems(browser)
            check(not problems, "%s: browser console:\n  %s" % (model, "\n  ".join(problems)))
            server.stop()
            server = None
        if screenshot:
            print("screenshot: " + screenshot)
        print("settings page in the browser: passed in %.1f s" % (time.time() - started))
        return 0
    except TestFailure as e:
        print("FAILED: %s" % e, file=sys.stderr)
        if server is not None and browser is not None:
            failed = os.path.join(args.out, "failed-%s.png" % server.model)
            try:
                browser.save_screenshot(failed)
                print("screenshot of the failure: " + failed, file=sys.stderr)
            except Exception:
                pass
        return 1
    finally:
        if server is not None:
            try:
                server.stop()
            except TestFailure as e:
                print("also: %s" % e, file=sys.stderr)
        if browser is not None:
            browser.quit()
        shutil.rmtree(workdir, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
