"""A headless Chromium in front of the lab's page, and what tests and screenshots do with it."""

import json
import os
import time
import urllib.request

from selenium import webdriver
from selenium.common.exceptions import StaleElementReferenceException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By

PATIENCE = 30


class Browser:
    def __init__(self, address):
        self.address = address.rstrip('/')
        options = webdriver.ChromeOptions()
        options.binary_location = '/usr/bin/chromium'
        # --no-sandbox: in containers and as root there is none to be had, and nothing but the lab's page is opened.
        for argument in ('--headless=new', '--no-sandbox', '--disable-gpu', '--disable-dev-shm-usage', '--hide-scrollbars',
                         '--no-first-run', '--disable-background-networking', '--disable-component-update'):
            options.add_argument(argument)
        options.set_capability('goog:loggingPrefs', {'browser': 'ALL'})
        self.driver = webdriver.Chrome(options=options, service=Service('/usr/bin/chromedriver'))
        self.script = self.driver.execute_script
        self.resize(1280, 900)

    def close(self):
        self.driver.quit()

    # --- The window ---

    def resize(self, width, height):
        self.driver.execute_cdp_cmd('Emulation.setDeviceMetricsOverride',
                                    {'width': width, 'height': height, 'deviceScaleFactor': 1, 'mobile': False})

    def prefer(self, **features):
        """prefer(color_scheme='dark', reduced_motion='reduce')"""
        self.driver.execute_cdp_cmd('Emulation.setEmulatedMedia', {'features': [
            {'name': f'prefers-{name.replace("_", "-")}', 'value': value} for name, value in features.items()]})

    def console_errors(self):
        return [entry['message'] for entry in self.driver.get_log('browser') if entry['level'] == 'SEVERE']

    # --- Finding and waiting ---

    def wait(self, condition, what):
        end = time.monotonic() + PATIENCE
        while time.monotonic() < end:
            try:
                found = condition()
                if found:
                    return found
            except StaleElementReferenceException:
                pass
            time.sleep(0.05)
        raise AssertionError(f'{what}: not within {PATIENCE} s; the page says:\n{self.script("return document.body.innerText")}')

    def all(self, selector, text=''):
        return [node for node in self.driver.find_elements(By.CSS_SELECTOR, selector) if text in node.text]

    def see(self, selector, text=''):
        """The first visible element of the selector with that text in it."""
        return self.wait(lambda: next((node for node in self.all(selector, text) if node.is_displayed()), None),
                         f'{selector} with "{text}"')

    def see_not(self, selector, text=''):
        self.wait(lambda: not any(node.is_displayed() for node in self.all(selector, text)), f'no {selector} with "{text}"')

    # --- Going about ---

    def open(self, view=''):
        self.driver.get(f'{self.address}/{"#/" + view if view else ""}')

    def go(self, view):
        """As a link does: within the page, and until the view stands."""
        self.script("document.getElementById('main').replaceChildren(); location.hash = '#/' + arguments[0] + (location.hash === '#/' + arguments[0] ? '/' : '')", view)
        self.see('h1')

    def log_in(self, user='admin', password=None):
        self.open()
        self.script('sessionStorage.clear()')
        self.driver.refresh()
        self.see('#name').send_keys(user)
        self.see('#password').send_keys(password or user)
        self.see('.login .primary').click()
        if password is None:
            self.see('nav.views a')
            self.see('.live', 'Live')

    def session(self):
        return self.script("return sessionStorage.getItem('session')")

    def post(self, path, body):
        """A request past the page, with its session."""
        request = urllib.request.Request(self.address + path, json.dumps(body).encode(),
                                         {'Content-Type': 'application/json', 'Authorization': f'Bearer {self.session()}'})
        with urllib.request.urlopen(request, timeout=PATIENCE) as answer:
            return json.load(answer)

    def call(self, bus_object, method, **arguments):
        return self.post('/ubus', {'jsonrpc': '2.0', 'id': 1, 'method': 'call',
                                   'params': [self.session(), bus_object, method, arguments]})['result']


def lab_address():
    address = os.environ.get('LAB_HTTP')
    if not address:
        raise SystemExit('LAB_HTTP is not set: run this in a lab, ./run --http 0 -- COMMAND')
    return address
