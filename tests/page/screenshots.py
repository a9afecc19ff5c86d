#!/usr/bin/python3
"""Takes the pictures of the page that README shows, in a lab of their own:

    ./run --life 0 --http 0 -- tests/page/screenshots.py docs

Needs pngquant, and looks best with fonts-inter and fonts-jetbrains-mono."""

import json
import os
import pathlib
import subprocess
import sys
import time

from browser import Browser, lab_address

WIDTH = 1240
SECONDS_OF_RATES = 110
RATES = (48, 47, 52, 61, 58, 44, 39, 41, 55, 72, 88, 91, 84, 67, 51, 46, 43, 45)


def live_for_a_while(home):
    """The lab's rates stand still by themselves: its home is a file to edit."""
    end = time.monotonic() + SECONDS_OF_RATES
    step = 0
    while time.monotonic() < end:
        document = json.loads(home.read_text())
        document['wan_port']['download'] = RATES[step % len(RATES)] * 1000 + step * 37
        document['wan_port']['upload'] = 2400 + RATES[(step * 5) % len(RATES)] * 22
        fresh = home.with_suffix('.new')
        fresh.write_text(json.dumps(document, indent=2))
        fresh.rename(home)
        step += 1
        time.sleep(3)


def make_things_happen(browser):
    for event in ({'name': 'roaming', 'mac': '00:00:5E:00:53:35', 'rssi': -58}, {'name': 'password-error'},
                  {'name': 'station-state', 'mac': '00:00:5E:00:53:35', 'active': True}, {'name': 'wps-switch', 'on': False},
                  {'name': 'ping-result'}, {'name': 'led-switch'}, {'name': 'wan-address', 'address': '203.0.113.24'},
                  {'name': 'channel', 'band': '5 GHz', 'channel': 44}, {'name': 'probe-record'}):
        browser.post('/lab/event', event)
        time.sleep(0.4)


def stage_home(browser):
    browser.go('home')
    browser.see('svg.mesh')
    browser.see('.scores')
    time.sleep(7)  # the second look at the counters gives rates


def stage_objects(browser):
    browser.go('objects/wexond.wifi.1.ap.1/set')
    browser.see('.now', 'Birch Lane 7')
    browser.see('#argument-1').send_keys('Birch Lane 7')
    browser.see('.send .primary').click()
    browser.see('.asked')
    browser.script('document.activeElement.blur(); scrollTo(0, 0)')


def stage_events(browser):
    browser.go('events')
    browser.see('.event')


def stage_requests(browser):
    browser.post('/lab/faults', {'clear': True})
    browser.go('objects/wexond.wifi.2.ap.1/get')
    browser.see('.send .primary').click()
    browser.see('.verdict.good')
    browser.post('/lab/faults', {'type': 'ORVC_GET_LEDSWITCH', 'fault': 'code=4'})
    browser.go('objects/wexond.ledswitch/get')
    browser.see('.send .primary').click()
    browser.see('.verdict.bad')
    browser.go('requests')
    for group in ('wexond.wifi.2.ap.1 get', 'wexond.ledswitch get'):
        node = browser.see('.group-name', group)
        if not browser.script("return arguments[0].closest('details').open", node):
            node.click()
    browser.see('.asked .badge.fault')


STAGES = {'home': (stage_home, 1300), 'objects': (stage_objects, 880), 'events': (stage_events, 880), 'requests': (stage_requests, 880)}


def take(browser, file):
    browser.driver.save_screenshot(str(file))
    subprocess.run(['pngquant', '--force', '--strip', '--speed', '1', '--output', file, '128', file], check=True)


def main(folder):
    browser = Browser(lab_address())
    try:
        browser.resize(WIDTH, 880)
        browser.prefer(color_scheme='light', reduced_motion='reduce')
        browser.log_in()
        live_for_a_while(pathlib.Path(os.environ['UBUS_SOCKET']).with_name('home.json'))
        make_things_happen(browser)
        for view, (stage, height) in STAGES.items():
            browser.resize(WIDTH, height)
            stage(browser)
            for scheme in ('light', 'dark'):
                browser.prefer(color_scheme=scheme, reduced_motion='reduce')
                time.sleep(0.5)
                take(browser, folder / f'page-{view}-{scheme}.png')
    finally:
        browser.close()


if __name__ == '__main__':
    if len(sys.argv) != 2:
        raise SystemExit(__doc__)
    main(pathlib.Path(sys.argv[1]))
