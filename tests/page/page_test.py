#!/usr/bin/python3
"""The lab's page in a real browser, in front of a lab of its own: ./run --life 0 --http 0 -- tests/page/page_test.py"""

import json
import pathlib
import re
import subprocess
import unittest

from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

from browser import Browser, lab_address

CONTRAST = pathlib.Path(__file__).with_name('contrast.js').read_text()
VIEWS = ('home', 'objects', 'objects/wexond.wifi.1.ap.1/set', 'events', 'requests')
CONTROLS = {'button', 'link', 'textbox', 'searchbox', 'combobox', 'checkbox', 'radio', 'spinbutton', 'tab', 'DisclosureTriangle'}


def setUpModule():
    global browser
    browser = Browser(lab_address())
    unittest.addModuleCleanup(browser.close)


class Page(unittest.TestCase):
    def setUp(self):
        browser.resize(1280, 900)
        browser.prefer(color_scheme='light')
        browser.log_in()

    def tearDown(self):
        self.assertEqual([], browser.console_errors())


class Session(Page):
    def test_refuses_a_wrong_password(self):
        browser.log_in('admin', 'wrong')
        browser.see('.login [role=alert]', 'Wrong name or password')
        self.assertFalse(browser.see_not('nav.views'))

    def test_stays_over_a_reload_and_ends_with_the_log_out(self):
        browser.driver.refresh()
        browser.see('nav.views')
        browser.see('#leave', 'admin').click()
        browser.see('.login')
        browser.driver.refresh()
        browser.see('.login')

    def test_asks_to_log_in_anew_when_it_has_ended(self):
        browser.go('home')
        browser.call('session', 'destroy')
        browser.see('.login')

    def test_tells_a_reader_why_something_is_not_there(self):
        browser.log_in('reader')
        browser.see('section[aria-label=Internet] .note', 'Log in as admin')
        browser.see('.stations .name', "Robin's phone")
        browser.go('objects/wexond.wifi.1.ap.1/get')
        browser.see('.send .primary').click()
        browser.see('.verdict.bad', 'Access denied')


class Home(Page):
    def test_shows_the_router(self):
        browser.go('home')
        browser.see('h1', 'KVQ-AX3000')
        browser.see('section[aria-label=Internet] .pill', 'Up')
        browser.see('section[aria-label=Internet] .big', '48.2 Mbit/s')
        browser.see('section[aria-label="2.4 GHz radio"] .point-name', 'Guests')
        self.assertEqual(14, len(browser.wait(lambda: browser.all('.stations tbody tr'), 'stations')))
        mesh = browser.see('svg.mesh')
        self.assertIn('stations', mesh.get_attribute('aria-label'))
        browser.wait(lambda: 'L' in browser.see('.plot-line').get_attribute('d'), 'a line of two points')

    def test_moves_what_a_notification_tells(self):
        browser.go('home')
        browser.see('.stations .name', "Robin's phone")
        browser.call('wexond.ledswitch', 'set', status='off')
        browser.post('/lab/event', {'name': 'led-switch', 'on': False})
        browser.see('.lately', 'The LEDs are off')
        browser.see('section[aria-label=Router] dd', 'off')
        browser.post('/lab/event', {'name': 'station-state', 'mac': '00:00:5E:00:53:32', 'active': False})
        browser.see('.lately', "Robin's phone is off line")

    def test_filters_and_sorts_the_stations(self):
        browser.go('home')
        browser.see('.stations .name', "Robin's phone")
        browser.see('input[aria-label="Filter the stations"]').send_keys('heron')
        browser.see_not('.stations .name', 'Desk computer')
        browser.see('.sort', 'Signal').click()
        self.assertEqual('descending', browser.see('th.col-signal').get_attribute('aria-sort'))


class Objects(Page):
    def fill(self, name, value):
        label = browser.see('.field-name label', name)
        field = browser.see(f'#{label.get_attribute("for")}')
        field.clear()
        field.send_keys(value)
        return field

    def test_changes_an_ssid_that_home_then_shows(self):
        browser.go('objects/wexond.wifi.1.ap.1/set')
        browser.see('.now', 'Birch Lane')
        self.fill('ssid', 'Birch Lane 11')
        browser.see('.snippet pre', "ubus call wexond.wifi.1.ap.1 set '{\"ssid\":\"Birch Lane 11\"}'")
        browser.see('.send .primary').click()
        browser.see('.verdict.good', 'Done')
        browser.see('.asked-name', 'SET_APBASIC')
        browser.go('home')
        browser.see('.point-name', 'Birch Lane 11')
        browser.call('wexond.wifi.1.ap.1', 'set', ssid='Birch Lane 7')

    def test_checks_ranges_and_lengths_and_sends_wrong_ones_when_told_to(self):
        browser.go('objects/wexond.wifi.1.ap.1/set')
        field = self.fill('ssid', 'x' * 40)
        browser.see('.send .primary').click()
        browser.see('.field .bad-text', '40 bytes, and at most 32 fit')
        self.assertEqual('true', field.get_attribute('aria-invalid'))
        self.assertEqual(field, browser.driver.switch_to.active_element)
        browser.go('objects/wexond.ledswitch/set')
        browser.see('.field-name input').click()
        browser.see('.send .primary').click()
        browser.see('.field .bad-text', 'Required')
        browser.see('#anyway').click()
        browser.see('.send .primary').click()
        browser.see('.verdict.bad', 'required parameter: status')
        browser.see('.failures .hit', 'required parameter')

    def test_hides_secrets_until_asked(self):
        browser.go('objects/wexond.wifi.1.ap.1/get')
        browser.see('.send .primary').click()
        browser.see('.verdict.good')
        self.assertNotIn('correct horse battery', browser.script('return document.body.textContent'))
        browser.see('.reply .quiet', 'Show secrets').click()
        browser.see('.tree', 'correct horse battery')
        browser.go('objects/wexond.wifi.1.ap.1/set')
        key = self.fill('key', 'new and secret')
        self.assertEqual('password', key.get_attribute('type'))
        self.assertNotIn('new and secret', browser.script('return document.body.textContent'))
        browser.see('.field-input .quiet', 'Show').click()
        self.assertEqual('text', key.get_attribute('type'))

    def test_has_a_labelled_form_for_every_method(self):
        browser.go('objects')
        browser.see('.object-card')
        links = [link.get_attribute('href').split('#/')[1] for link in browser.all('.object-card a')]
        self.assertLess(40, len(links))
        one_of_each_kind = {re.sub(r'(?<=ap|ns|rl|er|fo)\.\d+$', '.N', link): link for link in links}
        for link in one_of_each_kind.values():
            browser.go(link)
            for method in [one.text.split()[0] for one in browser.all('.methods a')]:
                browser.go(f'{link}/{method}')
                browser.see('.send .primary', f'Call {method}')
                unnamed = browser.script("""return [...document.querySelectorAll('.field')].filter(field => {
                    const label = field.querySelector('label');
                    return !document.getElementById(label.htmlFor);
                }).map(field => field.textContent)""")
                self.assertEqual([], unnamed, f'{link} {method}')

    def test_fills_in_examples_with_lists_and_tables(self):
        browser.go('objects/wexond.wifi.roaming/startaprssiquery')
        browser.see('.fill .chip').click()
        browser.see('.snippet pre', '"aps":[{"bssid":"00005E005321","channel":44}')
        browser.see('.send .primary').click()
        browser.see('.verdict.good')
        browser.go('objects/wexond.filter.url/add')
        browser.see('.fill .chip').click()
        browser.see('.snippet pre', '"weekdays":[')

    def test_gives_the_call_to_other_programs(self):
        browser.go('objects/wexond.ledswitch/get')
        browser.see('[role=tab]', 'curl').click()
        browser.see('.snippet pre', f'curl -s {browser.address}/ubus -d ')
        self.assertNotIn(browser.session(), browser.script('return document.body.innerText'))
        browser.see('[role=tab]', 'Python').click()
        browser.see('.snippet pre', 'urlopen')

    def test_gives_calls_that_do_the_same_there(self):
        browser.go('objects/wexond.wifi.1.ap.1/set')
        for program, words in (('ubus', ['sh', '-c']), ('curl', ['sh', '-c']), ('Python', ['/usr/bin/python3', '-c'])):
            name = f"{program}'s \"$HOME\" \\ é"
            self.fill('ssid', name)
            browser.see('[role=tab]', program).click()
            shown = browser.see('.snippet pre', "'s ").text
            session = browser.session()
            line = shown.replace(f'"{session[:4]}…"', f'"{session}"')
            subprocess.run([*words, line], check=True, stdout=subprocess.DEVNULL, timeout=60)
            [_, reply] = browser.call('wexond.wifi.1.ap.1', 'get')
            self.assertEqual(name, reply['wexond.wifi.1.ap.1']['ssid'])
        browser.call('wexond.wifi.1.ap.1', 'set', ssid='Birch Lane 7')


class Events(Page):
    def test_pushes_each_of_the_kinds_and_sees_them_arrive(self):
        browser.go('events')
        buttons = browser.wait(lambda: browser.all('.push'), 'buttons')
        self.assertEqual(15, len(buttons))
        expected = {'wexond.ledswitch', 'wexond.wifi', 'wexond.waninfo', 'wexond.laninfo', 'wexond.diagnostics', 'wexond.wifi.1',
                    'wexond.wifi.1.ap.1', 'wexond.wifi.roaming', 'wexond.wifi.vsie.proberx'}
        for button in buttons:
            button.click()
        browser.wait(lambda: expected <= {node.text for node in browser.all('.event-object')}, f'notifications of {expected}')
        self.assertEqual([], [node.text for node in browser.all('.push-list .bad-text') if node.text])

    def test_filters_pauses_and_clears(self):
        browser.go('events')
        browser.see('.push', 'led-switch').click()
        browser.see('.event-object', 'wexond.ledswitch')
        browser.see('.tools button', 'Pause').click()
        browser.see('.push', 'channel').click()
        browser.see('.card-head', '1 waiting')
        self.assertEqual([], browser.all('.event-object', 'wexond.wifi.1'))
        browser.see('.tools button', 'Go on').click()
        browser.see('.event-object', 'wexond.wifi.1')
        browser.see('.tools input').send_keys('led')
        browser.see_not('.event-object', 'wexond.wifi.1')
        browser.see('.tools button', 'Clear').click()
        browser.see('.empty', 'Nothing yet')

    def test_tells_of_objects_that_came_later(self):
        [_, reply] = browser.call('wexond.wifi.2.ap', 'add', ssid='Later', enable='yes')
        browser.go('events')
        browser.post('/lab/event', {'name': 'ssid', 'band': '5 GHz', 'ap_index': reply['idx'], 'ssid': 'Later still'})
        browser.see('.event-object', f'wexond.wifi.2.ap.{reply["idx"]}')
        browser.call('wexond.wifi.2.ap', 'delete', idx=reply['idx'])

    def test_takes_other_fields(self):
        browser.go('events')
        browser.see('button[aria-label="Fields of ssid"]').click()
        field = browser.see('#ssid-ssid')
        field.clear()
        field.send_keys('Elsewhere')
        browser.see('.push', 'ssid').click()
        browser.see('.event-text', 'ssid Elsewhere')


class Requests(Page):
    def tearDown(self):
        browser.post('/lab/faults', {'clear': True})
        super().tearDown()

    def switch_on(self, message_type, fault):
        browser.go('requests')
        field = browser.see('#fault-type')
        field.clear()
        field.send_keys(message_type)
        browser.see(f'#fault-{fault}').click()
        browser.see('.fault-form .primary').click()

    def test_shows_a_fault_beside_the_call_that_met_it(self):
        self.switch_on('ORVC_GET_LEDSWITCH', 'code')
        browser.see('.active-faults', 'code=4')
        browser.go('objects/wexond.ledswitch/get')
        browser.see('.send .primary').click()
        browser.see('.verdict.bad', 'failed to get ledswitch')
        browser.see('.failures .hit')
        browser.see('.asked .badge.fault', 'fault code=4')
        browser.go('requests')
        browser.see('.group.bad .group-name', 'wexond.ledswitch get').click()
        browser.see('.group .asked-name', 'GET_LEDSWITCH')

    def test_switches_one_of_two_faults_off(self):
        self.switch_on('ORVC_GET_LEDSWITCH', 'close')
        browser.see('.active-faults', 'ORVC_GET_LEDSWITCH')
        self.switch_on('ORVC_GET_WIFISWITCH', 'garbage')
        browser.see('.active-faults', 'garbage')
        browser.see('button[aria-label^="Switch off close"]').click()
        browser.see_not('.active-faults li', 'close')
        browser.see('.active-faults li', 'garbage')

    def test_says_what_the_service_refuses_to_play(self):
        self.switch_on('ORVC_NONSENSE', 'silent')
        browser.see('.fault-form [role=alert]', 'ORVC_NONSENSE')
        [error] = browser.console_errors()
        self.assertIn('status of 400', error)


class Everybody(Page):
    def test_fits_360_pixels(self):
        browser.resize(360, 740)
        for view in VIEWS:
            browser.go(view)
            browser.see('main .card')
            self.assertEqual(360, browser.script('return document.documentElement.scrollWidth'), view)
            outside = browser.script("""return [...document.querySelectorAll('main *')].filter(node =>
                node.getBoundingClientRect().right > 360.5 && !node.closest('.table-box, pre')).map(node => node.outerHTML.slice(0, 120))""")
            self.assertEqual([], outside, view)

    def press(self, *keys):
        for key in keys:
            ActionChains(browser.driver).send_keys(key).perform()

    def focused(self):
        return browser.driver.switch_to.active_element

    def tab_to(self, text, most=120):
        for _ in range(most):
            self.press(Keys.TAB)
            node = self.focused()
            if node.tag_name == 'body':  # between the end and the beginning
                continue
            outline = browser.script("const style = getComputedStyle(arguments[0]); return [style.outlineStyle, parseFloat(style.outlineWidth)]", node)
            self.assertTrue(outline[0] != 'none' and 1 <= outline[1], f'focus does not show on {node.get_attribute("outerHTML")[:200]}')
            if text in (node.text or node.get_attribute('aria-label') or node.get_attribute('id')):
                return node
        raise AssertionError(f'{text} is not reached by Tab')

    def test_works_without_a_mouse(self):
        browser.see('#leave').click()
        browser.see('#name')
        self.press('admin', Keys.TAB, 'admin', Keys.ENTER)
        browser.see('.live', 'Live')
        browser.wait(lambda: self.focused().tag_name == 'h1', 'the focus on the heading')
        browser.script('document.activeElement.blur()')
        self.tab_to('Skip')
        self.press(Keys.ENTER)
        self.assertEqual('main', self.focused().get_attribute('id'))
        browser.script("document.querySelector('.brand').focus()")
        self.tab_to('Objects')
        self.press(Keys.ENTER)
        browser.see('h1', 'Objects')
        browser.see('.object-card')
        self.tab_to('wexond.ledswitch')
        self.press(Keys.ENTER)
        browser.see('h1', 'wexond.ledswitch')
        browser.wait(lambda: self.focused().tag_name == 'h1', 'the focus on the heading')
        self.tab_to('Call get')
        self.press(Keys.ENTER)
        browser.see('.verdict.good')
        self.tab_to('ubus')
        self.press(Keys.ARROW_RIGHT)
        self.assertEqual('curl', self.focused().text)
        self.assertEqual('true', self.focused().get_attribute('aria-selected'))

    def names_missing(self):
        """Of the browser's own accessibility tree: what can be operated or is a picture, and has no name."""
        tree = browser.driver.execute_cdp_cmd('Accessibility.getFullAXTree', {})['nodes']
        missing = []
        for node in tree:
            role = node.get('role', {}).get('value')
            if not node.get('ignored') and role in CONTROLS | {'image', 'img', 'meter', 'navigation', 'region', 'table', 'tabpanel', 'form'} and \
                    not node.get('name', {}).get('value', '').strip():
                missing.append(f'{role} {json.dumps(node.get("properties", []))[:160]}')
        roles = [node.get('role', {}).get('value') for node in tree if not node.get('ignored')]
        missing += [f'no {role}' for role in ('main', 'banner', 'navigation') if role not in roles]
        return missing

    def structure_faults(self):
        return browser.script("""
            const faults = [];
            const levels = [...document.querySelectorAll('h1, h2, h3')].filter(node => node.checkVisibility()).map(node => Number(node.tagName[1]));
            if (levels.filter(level => level === 1).length !== 1) faults.push('not one h1');
            const ids = [...document.querySelectorAll('[id]')].map(node => node.id);
            ids.filter((id, at) => ids.indexOf(id) !== at).forEach(id => faults.push('twice: ' + id));
            for (const name of ['aria-controls', 'aria-labelledby', 'aria-describedby', 'for'])
                for (const node of document.querySelectorAll(`[${name}]`))
                    for (const id of node.getAttribute(name).split(' '))
                        if (!document.getElementById(id)) faults.push(`${name} of nothing: ${id}`);
            if (!document.documentElement.lang) faults.push('no language');
            for (const node of document.querySelectorAll('button, select, input:not([type=checkbox], [type=radio])')) {
                const box = node.getBoundingClientRect();
                if (node.checkVisibility() && (box.height < 24 || box.width < 24)) faults.push('small: ' + node.outerHTML.slice(0, 100));
            }
            return faults;""")

    def test_is_accessible_in_both_schemes(self):
        for scheme in ('light', 'dark'):
            browser.prefer(color_scheme=scheme, reduced_motion='reduce')
            for view in VIEWS:
                browser.go(view)
                browser.see('main .card')
                if view == 'home':
                    browser.see('.stations .name', "Robin's phone")
                    browser.see('svg.mesh')
                if view == 'events':
                    browser.see('.push', 'led-switch').click()
                    browser.see('.event')
                self.assertEqual([], browser.script(CONTRAST), f'contrast of {view}, {scheme}')
                self.assertEqual([], self.names_missing(), f'names of {view}')
                self.assertEqual([], self.structure_faults(), f'structure of {view}')
        browser.see('#leave').click()
        browser.see('#name')
        self.assertEqual([], browser.script(CONTRAST), 'contrast of the log-in')

    def test_would_see_a_text_that_is_too_pale(self):
        browser.go('events')
        browser.see('main .card')
        browser.script("document.querySelector('h1').style.color = '#a5a8ad'")
        [found] = browser.script(CONTRAST)
        self.assertIn('"Events" in h1', found)

    def test_follows_the_scheme_of_the_system_until_one_is_chosen(self):
        ground = 'return getComputedStyle(document.body).backgroundColor'
        light = browser.script(ground)
        browser.prefer(color_scheme='dark')
        dark = browser.script(ground)
        self.assertNotEqual(light, dark)
        browser.see('#theme').click()
        self.assertEqual(light, browser.script(ground))
        browser.driver.refresh()
        browser.see('#theme')
        self.assertEqual(light, browser.script(ground))
        browser.script("localStorage.clear()")
        browser.driver.refresh()

    def test_moves_nothing_for_who_wants_calm(self):
        browser.prefer(reduced_motion='reduce')
        browser.go('events')
        browser.see('.push', 'led-switch').click()
        browser.see('.event')
        self.assertEqual(0, browser.script('return document.getAnimations().length'))


if __name__ == '__main__':
    unittest.main(verbosity=2)
