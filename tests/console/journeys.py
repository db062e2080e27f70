#!/usr/bin/env python3
"""Goes through the console as people do, in a real Chromium, on a population whose numbers other code has counted."""

import argparse
import contextlib
import gzip
import http.client
import math
import pathlib
import re
import sys
import time
import unittest

from selenium.webdriver.common.keys import Keys
from stage import COIN_CAVE, EDITING, KEY, MONTH, NAME, READING, Browser, By, Prefix, Stage, number, record

CONFIGURATIONS = {
    KEY: {
        'configurations': [{'key': 'lives', 'value': '5'}, {'key': 'shop_offer', 'value': 'starter_pack'}],
        'experiments': [{'id': 'shop_position', 'groups': [
            {'id': 'left', 'weight': 1}, {'id': 'right', 'weight': 1, 'configurations': [{'key': 'shop_offer', 'value': 'double_pack'}]}]}]},
    COIN_CAVE[0]: {'configurations': [{'key': 'coin_value', 'value': '2'}]},
}
MARKUP = '<img src=x onerror="window.hacked=1"><script>window.hacked=1</script>'
# As the library reports a signal: the handler's frames first, then the system's, then what crashed.
FALL = """Game version {build} build (null)
Stack trace:n
   0 - /opt/game/game(+0x9e734) [0x{base}9e734]
   1 - /lib/x86_64-linux-gnu/libc.so.6(+0x3c050) [0x7f5ca7c5a050]
   2 - /opt/game/game(levels::fallOut(std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> > const&)+0x{offset}) [0x{base}a4681]
   3 - /opt/game/game(main+0x5f8) [0x{base}a7d5e]
   4 - /lib/x86_64-linux-gnu/libc.so.6(__libc_start_main+0x85) [0x7f5ca7c45305]
"""
DEATH = 'connect\n2\n1 Return\n90 Down\n2\n'  # into the spikes of the first cave
options = None


class Journeys(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.stage = Stage(options.collector, options.crowd, CONFIGURATIONS)
        cls.addClassCleanup(cls.stage.stop)
        cls.truth = cls.stage.truth

    def setUp(self):
        self.browser = Browser(self.stage.url, options.chromium, options.driver)
        self.addCleanup(self.browser.quit)

    def sign_in(self, token=READING):
        self.browser.visit('overview')
        self.browser.find('input[name=token]').send_keys(token.strip())
        self.browser.press('Sign in')
        self.browser.until(lambda: 'How is the game doing?' in self.browser.text(), 'the overview')
        self.browser.settle()

    def assert_unharmed(self):
        driver = self.browser.driver
        self.assertIsNone(driver.execute_script('return window.hacked ?? null'))
        self.assertEqual(driver.find_elements(By.CSS_SELECTOR, 'img, iframe, #console script'), [])
        elsewhere = driver.execute_script('''return performance.getEntriesByType("resource").map((each) => each.name).filter((name) => !name.startsWith(location.origin))''')
        self.assertEqual(elsewhere, [])
        self.assertEqual(self.browser.complaints(), [])

    def fetch(self, path, **fields):
        """Status, fields and content, as they come."""
        with contextlib.closing(http.client.HTTPConnection(self.stage.url.removeprefix('http://'))) as connection:
            connection.request('GET', path, headers=fields)
            answer = connection.getresponse()
            return answer.status, answer.headers, answer.read()

    def test_the_files_are_whole_small_and_kept_by_browsers(self):
        status, fields, page = self.fetch('/')
        self.assertEqual((status, fields['Cache-Control'], fields['Content-Encoding']), (200, 'no-cache', None))
        names = re.findall(r'(?:src|href)="([^"]+)"', page.decode())
        self.assertEqual(sorted(name.split('.')[-1] for name in names), ['css', 'js', 'svg'])
        sent = 0
        for path in '/', *(f'/{name}' for name in names):
            _, plain_fields, plain = self.fetch(path)
            _, fields, packed = self.fetch(path, **{'Accept-Encoding': 'br, gzip;q=0.8'})
            self.assertEqual(fields['Content-Encoding'], 'gzip', path)
            self.assertEqual(gzip.decompress(packed), plain, path)
            self.assertIsNone(self.fetch(path, **{'Accept-Encoding': 'gzip;q=0'})[1]['Content-Encoding'], path)
            self.assertIn("default-src 'none'", plain_fields['Content-Security-Policy'])
            self.assertNotIn('unsafe', plain_fields['Content-Security-Policy'])
            status, _, nothing = self.fetch(path, **{'If-None-Match': fields['ETag']})
            self.assertEqual((status, nothing), (304, b''), path)
            self.assertEqual('immutable' in fields['Cache-Control'], path != '/', path)
            sent += len(packed)
        self.assertLess(sent, 200_000)
        self.assertEqual(self.fetch('/nothing.js')[0], 404)

    def test_it_works_behind_a_prefix(self):
        proxy = Prefix(self.stage.url, '/studio/numbers/')
        self.addCleanup(proxy.server_close)
        self.addCleanup(proxy.shutdown)
        self.browser.url = proxy.url.rstrip('/')
        self.sign_in()
        self.assertEqual(number(self.browser.tile('Players')), self.truth['all']['players'])
        self.assert_unharmed()

    def test_nobody_sees_anything_without_a_token(self):
        browser = self.browser
        browser.visit('overview')
        self.assertIn('Token for reading', browser.text())
        for secret in KEY, NAME:
            self.assertNotIn(secret, browser.text())
        for path in 'games', f'questions/overview?game={KEY}&from=2026-10-01&to=2026-11-01', f'live?game={KEY}', 'status':
            status = browser.driver.execute_async_script('fetch(arguments[0]).then((answer) => arguments[1](answer.status))', f'./api/{path}')
            self.assertEqual(status, 401, path)
        browser.find('input[name=token]').send_keys('guessed')
        browser.press('Sign in')
        browser.until(lambda: browser.driver.find_elements(By.CSS_SELECTOR, '.trouble'), 'words about the wrong token')
        self.sign_in()
        self.assertEqual(browser.driver.execute_script('return document.cookie'), '', 'no script reads the cookie')
        browser.press('Sign out')
        browser.until(lambda: 'Token for reading' in browser.text(), 'the way in again')

    def test_the_numbers_are_those_of_an_independent_count(self):
        browser, truth = self.browser, self.truth
        self.sign_in()

        def overview(of):
            self.assertEqual([number(browser.tile(name)) for name in ('Players', 'Sessions')], [of['players'], of['sessions']])
            for currency, revenue in of['revenue'].items():
                factor = 1 if currency == 'JPY' else 100
                self.assertEqual(round(number(browser.tile(f'Revenue in {currency}')) * factor), revenue['amount'], currency)
        self.assertGreater(len(truth['all']['revenue']), 1, 'somebody pays')
        overview(truth['all'])
        self.assertEqual(number(browser.tile('New players')), truth['all']['new'])
        self.assertIn('no whole time before to compare with', browser.text(), 'the game began in this month')
        browser.choose('Build', '1.2.0')
        self.assertIn('build=1.2.0', browser.driver.current_url)
        overview(truth['builds']['1.2.0'])
        address = browser.driver.current_url
        browser.driver.get('about:blank')
        browser.driver.get(address)
        browser.settle()
        overview(truth['builds']['1.2.0'])
        browser.press('No filters')
        browser.settle()
        days = [number(row['Players']) for row in browser.table('Players by day')]
        self.assertEqual([count for count in days if count], [of['players'] for of in truth['days'].values()])

        hours = [number(row['Sessions in an hour']) for row in browser.table('A day, hour by hour (UTC)')]
        sessions = [sum(of['sessions'] for of in truth['hours'] if of['hour'] == hour and of['day'] > '2026-10-01') for hour in range(24)]
        had = len([day for day in truth['days'] if day > '2026-10-01'])
        self.assertEqual(hours, [round(count / had + 1e-9, 2) for count in sessions])
        browser.visit('overview', **{'from': MONTH['to'], 'to': MONTH['from']})
        overview(truth['all'])
        browser.visit('overviews')
        self.assertIn('There is no page “overviews”', browser.text())

        browser.visit('retention')
        cohorts = {day: days for day, days in truth['returned'].items() if len(days) > 0}
        sizes = [number(row['Players']) for row in browser.table("The part of a day's new players who are there so many days later (0 is the first day itself)")]
        self.assertEqual(sizes, [days[0] for days in cohorts.values()])

        def next_day(cohorts):
            had = [days for day, days in cohorts.items() if day < '2026-11-01']
            return 100 * sum((days + [0, 0])[1] for days in had) / sum(days[0] for days in had)
        self.assertAlmostEqual(number(browser.tile('Day 1')), next_day(cohorts), delta=0.051)
        browser.choose('Split by', 'build')
        browser.settle()
        builds = {build: days for build, days in truth['returned_of_builds'].items() if days}
        shown = {row['Build']: [number(row['New players']), number(row['Day 1'])] for row in browser.table('Day 1, 7 and 30 by build')}
        self.assertEqual(list(shown), sorted(builds), 'in the order of versions')
        for build, (players, day) in shown.items():
            self.assertEqual(players, sum(days[0] for days in builds[build].values()), build)
            self.assertAlmostEqual(day, next_day(builds[build]), delta=0.051, msg=build)
        browser.choose('Build', '1.2.0')
        browser.settle()
        self.assertAlmostEqual(number(browser.tile('Day 1')), next_day(builds['1.2.0']), delta=0.051)
        browser.visit('builds')
        rows = browser.table('Builds, the newest first')
        self.assertEqual([row['Build'] for row in rows], sorted(truth['builds'], reverse=True))
        currency = max(truth['all']['revenue'], key=lambda name: truth['all']['revenue'][name]['count'])
        for row in rows:
            of = truth['builds'][row['Build']]
            paid = of['revenue'].get(currency, {'amount': 0})['amount'] / (1 if currency == 'JPY' else 100) / of['players']
            self.assertEqual(number(row['Players']), of['players'])
            self.assertAlmostEqual(number(row['Sessions per player']), of['sessions'] / of['players'], delta=0.0051)
            self.assertAlmostEqual(number(row['Day 1']), next_day(builds[row['Build']]), delta=0.051)
            self.assertAlmostEqual(number(row[f'Revenue per player in {currency}']), paid, delta=max(0.0051 * paid, 1e-9))
        browser.visit('overview')
        crash_free = browser.tile('Crash-free players')

        browser.visit('levels')
        levels = {row['Level'].replace(' · ', ':'): [number(row[name]) for name in ('Starts', 'Fails', 'Completions', 'Players started', 'Completed')]
                  for row in browser.table('Levels')}
        self.assertEqual(levels, {name: [of[each] for each in ('starts', 'fails', 'completes', 'players_started', 'players_completed')]
                                  for name, of in truth['levels'].items()})
        for title, ends in ('Stopped here', truth['stopped']), ('Completed, not gone on', truth['left']):
            shown = {row['Level'].replace(' · ', ':'): number(row[title]) for row in browser.table('Levels')}
            self.assertEqual({level: count for level, count in shown.items() if count}, ends)
        self.assertEqual(truth['stopped'][browser.tile('Most players stop at').replace(' · ', ':')], max(truth['stopped'].values()))
        for row in browser.table('Levels'):
            tries = truth['tries'][row['Level'].replace(' · ', ':')]
            self.assertAlmostEqual(number(row['Time of a try']), tries['amount'] / tries['count'], delta=0.5)

        browser.visit('money')
        self.assertEqual(number(browser.tile('Payers')), truth['all']['payers'])
        self.assertEqual({row['Currency']: number(row['Purchases']) for row in browser.table('Revenue by currency')},
                         {name: of['count'] for name, of in truth['all']['revenue'].items()})
        self.assertEqual({row['Network']: number(row['Impressions']) for row in browser.table('Revenue of ads by network and currency')},
                         {name: of['count'] for name, of in truth['impressions'].items()})

        first = {row['Days after the first day'].removeprefix('day '): number(row['Players']) for row in browser.table('Players by when they first paid')}
        self.assertEqual({later: players for later, players in first.items() if players}, truth['first_purchases'])

        browser.visit('economy')
        self.assertEqual({row['Currency']: [number(row['Earned']), number(row['Spent'])] for row in browser.table('Currencies')},
                         {name: [of['source']['amount'], abs(of['sink']['amount'])] for name, of in truth['all']['economy'].items()})

        browser.visit('errors')
        self.assertEqual(browser.tile('Crash-free players'), crash_free)
        self.assertEqual(sum(number(row['Times']) for row in browser.table('Errors')), truth['all']['errors'])
        self.assertEqual(sum(number(row['Times']) for row in browser.table('Errors') if row['Severity'] == 'critical'),
                         sum(each['count'] for each in truth['errors'] if each['severity'] == 'critical'))

        browser.visit('ads')
        self.assertEqual({row['Network']: number(row['Shows']) for row in browser.table('Ads by network')},
                         {name: sum(of['actions'].get('show', 0) for of in kinds.values()) for name, kinds in truth['ads'].items()})

        browser.visit('designs')
        tree = {}
        for name, of in truth['designs'].items():
            counted = tree.setdefault(name.split(':')[0], {'count': 0, 'values': 0, 'sum': 0})
            for each in counted:
                counted[each] += of[each]
        shown = {row['Part']: row for row in browser.table('Events by the first part of their ids')}
        self.assertEqual({part: [number(row['Events']), number(row['With a value'])] for part, row in shown.items()},
                         {part: [of['count'], of['values']] for part, of in tree.items()})
        mixed = [part for part, of in tree.items() if 0 < of['values'] < of['count']]
        self.assertNotEqual(mixed, [])
        for part in mixed:
            self.assertAlmostEqual(number(shown[part]['Value per event']), tree[part]['sum'] / tree[part]['values'], delta=0.0051, msg=part)

        browser.visit('experiments')
        self.assertEqual({f'shop_position:{row["Group"]}': [number(row['Players']), number(row['Sessions'])] for row in browser.table('What is counted')},
                         {name: [of['players'], of['sessions']] for name, of in truth['groups'].items()})
        currency = browser.field('Currency').get_attribute('value')
        for title, unit in (f'Revenue per player in {currency}', 100), ('Sessions of a player', 1):
            for row in browser.table(title):
                group = f'shop_position:{row["Group"]}'
                of = truth['groups'][group]
                amount, squares = of['revenue'].get(currency, {'amount': 0})['amount'], truth['amount_squares'].get(group, {}).get(currency, 0)
                if unit == 1:
                    amount, squares = of['sessions'], truth['activity_squares'][group]['sessions']
                mean = amount / of['players']
                half = 1.96 * math.sqrt((squares - amount * mean) / (of['players'] - 1) / of['players'])
                for column, expected in ('Value', mean), ('At least', max(0, mean - half)), ('At most', mean + half):
                    self.assertAlmostEqual(unit * number(row[column]), expected, delta=0.0051 * unit, msg=f'{title} {column}')
        self.assertEqual(browser.complaints(), [])

    def test_hostile_texts_stay_texts(self):
        browser = self.browser
        player = f'{MARKUP} \N{PILE OF POO} \u202eא'
        session = record('user', player)
        self.stage.send(session, *[{**record('error', player, severity='critical', message=MARKUP + 'x' * 8000), 'session_id': session['session_id']},
                                   {**record('error', player, severity='error', message='=1+1'), 'session_id': session['session_id']}])
        self.sign_in()
        now = time.strftime('%Y-%m-%d', time.gmtime())
        time_of = {'from': now, 'to': now}
        browser.visit('errors', **time_of)
        self.assertTrue(any(MARKUP in row['Message'] for row in browser.table('Errors')))
        browser.visit('players', **time_of)
        self.assertEqual([row['Player'] for row in browser.table('Players')], [player])
        browser.find('tbody a').click()
        browser.settle()
        self.assertIn(MARKUP, browser.text())
        browser.visit('rows', category='error', **time_of)
        self.assertEqual({row['Player'] for row in browser.table('Events')}, {player})
        browser.visit('live', **time_of)
        browser.until(lambda: MARKUP in browser.text(), 'the event on the page of what arrives')
        self.assert_unharmed()

        self.sign_out_and_in(EDITING)
        browser.visit('players', player=player, **time_of)
        browser.find('section > .answer > details > summary').click()
        browser.driver.execute_script('''
            const field = document.querySelector('input[name=erase]');
            field.value = arguments[0];
            field.dispatchEvent(new InputEvent('input', {bubbles: true}));''', player)  # the driver types no emoji
        browser.press('Erase for good')
        browser.until(lambda: 'Erased: 3 events' in browser.text(), 'that the player is gone')
        for page in 'players', 'errors', 'rows':
            browser.visit(page, **time_of)
            self.assertNotIn(MARKUP, browser.text(), page)

    def test_a_crash_is_one_error_whatever_the_build_and_the_addresses(self):
        browser, then = self.browser, int(time.time()) - 3 * 86_400
        for player, build, base, offset in ('one', '1.9', '562e9d27c', '10'), ('one', '1.10', '55d0c0de4', '24'), ('two', '1.10', '7f0c8a031', '24'):
            message = FALL.format(build=build, base=base, offset=offset)
            self.stage.send(record('error', player, severity='critical', message=message, build=build, client_ts=then))
        self.sign_in()
        day = time.strftime('%Y-%m-%d', time.gmtime(then))
        browser.visit('errors', **{'from': day, 'to': day})
        row, = browser.table('Errors')
        self.assertEqual([row[name] for name in ('Message', 'Times', 'Players', 'First build', 'Last build')],
                         ['Crash in levels::fallOut(std::string const&)', '3', '1 to 3', '1.9', '1.10'])
        browser.find('.short').click()
        browser.settle()
        browser.until(lambda: 'critical, 3 times, of 2 players' in browser.text(), 'how many players it was')
        self.assertEqual(browser.text_of('.culprit code'), 'levels::fallOut(std::string const&)')

    def sign_out_and_in(self, token):
        self.browser.press('Sign out')
        self.browser.until(lambda: 'Token for reading' in self.browser.text(), 'the way in')
        self.sign_in(token)

    def test_narrow_windows_and_the_keyboard(self):
        browser, driver = self.browser, self.browser.driver
        self.sign_in()
        driver.execute_cdp_cmd('Emulation.setDeviceMetricsOverride', {'width': 400, 'height': 800, 'deviceScaleFactor': 1, 'mobile': False})
        for link in [each.get_attribute('href') for each in driver.find_elements(By.CSS_SELECTOR, 'nav a')]:
            page = re.search(r'#/(\w+)', link).group(1)
            browser.visit(page, build='1.2.0')
            self.assertLessEqual(driver.execute_script('return document.documentElement.scrollWidth'), 400, page)
            self.assertTrue(driver.title.lower().startswith(page), driver.title)
            here = driver.execute_script('return document.querySelector("nav [aria-current]").getBoundingClientRect().toJSON()')
            self.assertTrue(here['left'] >= 0 and here['right'] <= 401, page)
        self.assertNotIn('2026', browser.find('.fold').text, 'the collector is as it is now')
        browser.visit('levels', build='1.2.0')
        fold = browser.find('.fold')
        self.assertTrue(fold.text.endswith('2026 · 1 filter'), fold.text)
        self.assertFalse(browser.field('Build').is_displayed())
        fold.send_keys(' ')
        self.assertTrue(browser.field('Build').is_displayed())
        browser.field('Build').send_keys(Keys.ESCAPE)
        self.assertEqual((browser.field('Build').is_displayed(), driver.switch_to.active_element), (False, fold))
        fold.send_keys(' ')
        driver.find_element(By.LINK_TEXT, 'Money').click()
        browser.until(lambda: not browser.field('Build').is_displayed(), 'the bar folded on the next page')

        browser.visit('players')
        player = browser.table('Players')[-1]['Player']
        browser.field('The id begins with').send_keys(player[:12])
        browser.until(lambda: [row['Player'] for row in browser.table('Players')] == [player], 'the player, without a further key')
        browser.visit('errors', game='0' * 32)
        self.assertIn('No game here has the key', browser.text())
        driver.find_element(By.CSS_SELECTOR, 'main li a').click()
        browser.until(lambda: 'What happened' in browser.text(), 'the same page of a game that is here')

        browser.visit('levels')
        title = driver.find_element(By.XPATH, '//th/button[.="Fails"]')
        for key, order in (Keys.ENTER, 'descending'), (' ', 'ascending'):
            title.send_keys(key)
            self.assertEqual(browser.find('th[aria-sort]').get_attribute('aria-sort'), order)
        browser.visit('rows', category='none of them')
        self.assertIn('There are no events', browser.text())
        browser.visit('rows', category='error')
        browser.until(lambda: f'The latest 200 of {self.truth["all"]["errors"]:,}.' in browser.text(), 'how many there are')
        browser.find('tbody a').send_keys(Keys.ENTER)
        browser.until(lambda: '"event_uuid"' in driver.switch_to.active_element.text, 'the record, with the focus')
        record_of, address = browser.text_of('.record'), driver.current_url
        driver.switch_to.active_element.send_keys(Keys.ESCAPE)
        browser.until(lambda: not driver.find_elements(By.CSS_SELECTOR, '.record'), 'no record')
        driver.get('about:blank')
        driver.get(address)
        browser.settle()
        self.assertEqual(browser.text_of('.record'), record_of)

    def test_what_arrives_is_there_within_a_second(self):
        browser = self.browser
        self.sign_in()
        now = time.strftime('%Y-%m-%d', time.gmtime())
        browser.visit('live', **{'from': now, 'to': now})
        browser.until(lambda: 'Connected:' in browser.text(), 'a connection')
        self.stage.send(record('design', event_id='fight:boss:hits', value=12.5))
        browser.until(lambda: 'fight:boss:hits = 12.5' in browser.text(), 'the event', 2)
        self.assertEqual(self.stage.send(record('business', event_id='offer:pack', currency='usd', amount=299, transaction_num=1)), 400)
        browser.until(lambda: 'three capital letters' in browser.text(), 'why it was refused', 2)
        browser.find('.latest .bad summary').click()
        browser.until(lambda: '"currency"' in browser.text_of('.latest .bad mark'), 'the field that is wrong, marked')
        for section in 2, 4:
            browser.until(lambda: 'three capital letters' in browser.text_of(f'section:nth-of-type({section})'), 'it among those that were refused, and why', 3)
        self.stage.send(record('design', event_id='fight:boss:misspelt', valu=12.5))
        browser.until(lambda: 'valu is no field that is known' in browser.text_of('.latest .noted'), 'the field that counts for nothing', 3)
        browser.find('.latest .noted summary').click()
        browser.until(lambda: '"valu"' in browser.text_of('.latest .noted mark'), 'it marked')
        browser.press('Pause')
        self.assertNotIn('records a second', browser.text())
        self.stage.send(record('design', event_id='while:paused'))
        browser.press('Go on')
        browser.until(lambda: 'while:paused' in browser.text(), 'what came meanwhile')
        command = browser.driver.execute_script('return [...document.querySelectorAll("code")].map((each) => each.textContent).find((text) => text.startsWith("curl"))')
        self.assertIn(f'/api/live?game={KEY}', command)
        self.assertNotIn(READING.strip(), command)
        browser.visit('live', live_player='nobody')
        browser.until(lambda: 'Nothing of this player or session lately' in browser.text(), 'that it is nothing of theirs')
        self.assertNotIn('Nothing has arrived yet', browser.text())
        browser.visit('overview', **{'from': now, 'to': now})
        self.assertIn("Today isn't over", browser.text())
        self.assertEqual(browser.driver.find_elements(By.CSS_SELECTOR, '.change'), [])

    def test_what_is_edited_is_in_force_and_in_the_history(self):
        browser = self.browser
        self.sign_in()
        browser.visit('configurations')
        self.assertFalse(browser.field('Value').is_enabled(), 'signed in for reading')
        status = browser.driver.execute_async_script('''fetch(arguments[0], {method: "PUT", body: "{}"}).then((answer) => arguments[1](answer.status))''',
                                                     f'./api/configurations?game={KEY}&version=1&author=x')
        self.assertEqual(status, 403)
        self.sign_out_and_in(EDITING)
        browser.visit('configurations')
        browser.driver.execute_async_script(f'''fetch("./api/configurations?game={KEY}&version=1&author=ben",
            {{method: "PUT", body: JSON.stringify({{configurations: [{{key: "lives", value: "6"}}]}})}}).then(arguments[0])''')
        value = browser.field('Value')
        value.clear()
        value.send_keys('7\n')
        for link, is_there in ('Levels', False), ('Configurations', True):  # and what was edited is still there
            browser.driver.find_element('link text', link).click()
            browser.until(lambda: bool(browser.fields('Your name')) == is_there, f'the page {link}')
        browser.field('Your name').send_keys('anna')
        browser.field('Why').send_keys(MARKUP)
        browser.press('Save')
        browser.until(lambda: 'What you edited is still here' in browser.text(), 'that somebody was faster')
        browser.press('Save mine in place of theirs')
        browser.until(lambda: 'by anna' in browser.text(), 'the new version')
        browser.settle()
        self.assertIn('Saved as version', browser.text())
        self.assertEqual({row['lives'] for row in browser.table('What each kind of player has now')}, {'7'})
        self.assertEqual([(row['Who'], row['Why'].split('/')[-1]) for row in browser.table('Versions, the newest first')],
                         [('anna', MARKUP.split('/')[-1]), ('ben', 'none'), ('import', 'configurations.json')])
        browser.press('Restore')
        browser.until(lambda: 'is in force again' in browser.text(), 'the old version as a new one')
        browser.settle()
        self.assertEqual({row['lives'] for row in browser.table('What each kind of player has now')}, {'6'})
        self.assert_unharmed()

    def test_a_game_has_the_edit_at_its_next_session(self):
        browser, now = self.browser, time.strftime('%Y-%m-%d', time.gmtime())
        view = {'game': COIN_CAVE[0], 'from': now, 'to': now}

        def latest_death():
            """The fields of its record that the collector's answers have decided."""
            browser.visit('rows', category='design', **view)
            browser.find('tbody a').click()
            browser.settle()
            return dict(re.findall(r'"(coin_value|hazard_speed|ab_id|ab_variant_id)": "?([^",\s]+)', browser.text()))
        self.stage.play(options.game, DEATH)
        self.sign_in(EDITING)
        self.assertEqual(latest_death(), {'coin_value': '2', 'hazard_speed': '1'})
        browser.visit('players', **view)
        player, = (row['Player'] for row in browser.table('Players'))

        browser.visit('configurations', **view)
        browser.press('Add an experiment')
        for button in browser.driver.find_elements(By.XPATH, '//fieldset//button[.="Add a value"]'):
            button.click()
        speeds = {'a': '1.25', 'b': '0.75'}
        browser.fill('Key', 'coin_value', 'hazard_speed', 'hazard_speed')
        browser.fill('Value', '3', *speeds.values())
        browser.fill('Experiment', 'hazards')
        browser.fill('Your name', 'anna')
        browser.press('Save')
        browser.until(lambda: 'by anna' in browser.text(), 'the new version')
        browser.settle()
        browser.fill('As the player with the id', player)
        browser.settle()
        given, = browser.table('What each kind of player has now')
        group = given['Experiment'].removeprefix('hazards: ')
        self.assertEqual((given['coin_value'], given['hazard_speed']), ('3', speeds[group]))

        browser.visit('live', live_player=player, **view)
        browser.until(lambda: 'Connected:' in browser.text(), 'a connection')
        self.stage.play(options.game, DEATH)
        browser.until(lambda: browser.text_of('.latest').count('death:cave1:spike') == 2, 'both deaths')
        self.assertEqual(latest_death(), {'coin_value': '3', 'hazard_speed': speeds[group], 'ab_id': 'hazards', 'ab_variant_id': group})
        browser.visit('experiments', **view)
        self.assertEqual([(row['Group'], row['Players'], row['Sessions']) for row in browser.table('What is counted')], [(group, '1', '1')])

        browser.visit('players', player=player, **view)
        browser.find('section > .answer > details > summary').click()
        browser.fill('Id', player)
        browser.press('Erase for good')
        browser.until(lambda: 'Erased: ' in browser.text(), 'that the player is gone')
        self.stage.send(record('design', 'somebody else', event_id='came:later'), game=COIN_CAVE)
        browser.visit('live', **view)
        browser.until(lambda: 'came:later' in browser.text(), 'what is remembered')
        self.assertNotIn('death:', browser.text())
        browser.visit('rows', **view)
        self.assertEqual([row['Player'] for row in browser.table('Events')], ['somebody else'])
        for page, what in {'players': 'players', 'experiments': 'players in an experiment'}.items():
            browser.visit(page, **view)
            self.assertIn(f'There are no {what} in this time', browser.text())

    def test_the_pictures_of_the_readme(self):
        browser, folder = self.browser, options.pictures or self.stage.folder
        self.sign_in()
        browser.visit('overview', **{'from': '2026-10-17', 'to': '2026-10-31'})
        browser.picture(folder / 'overview.png', 920)
        browser.visit('live')
        browser.until(lambda: 'Connected:' in browser.text(), 'a connection')
        self.stage.send(record('business', event_id='offer:pack', currency='usd', amount=299, transaction_num=1))
        browser.until(lambda: browser.driver.find_elements(By.CSS_SELECTOR, '.latest .bad'), 'the refused one')
        self.stage.send(*[record('design', event_id=f'fight:boss:{move}', value=value) for move, value in (('hits', 12), ('dodges', 3), ('seconds', 41.5))])
        browser.until(lambda: 'fight:boss:seconds' in browser.text(), 'what came after it')
        browser.picture(folder / 'live.png', 720)
        for name in 'overview.png', 'live.png':
            self.assertLess((folder / name).stat().st_size, 150_000, name)


def main():
    global options
    parser = argparse.ArgumentParser(description=__doc__)
    for name in 'collector', 'crowd', 'game', 'chromium', 'driver':
        parser.add_argument(f'--{name}', required=True, help='the program')
    parser.add_argument('--pictures', type=pathlib.Path, help='the folder that the pictures of the pages stay in')
    options, rest = parser.parse_known_args()
    unittest.main(argv=[sys.argv[0], *rest], verbosity=2)


if __name__ == '__main__':
    main()
