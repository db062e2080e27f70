"""What the journeys share: a collector with a crowd's month in it, a game that sends what it likes, and a browser."""

import base64
import contextlib
import hashlib
import hmac
import http.client
import http.server
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import threading
import time
import urllib.error
import urllib.parse
import urllib.request
import uuid

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import Select

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / 'collector'))
from compare_with_crowd import KEY, SECRET, Collector  # noqa: E402

COIN_CAVE = '8abd34525196ff0ad667d9f522f1bb1a', 'bd698b827264cb9517fbc9ce731177608fe254ea'  # as examples/game has them
NAME = 'Castle Run'  # of the game that the crowd plays
READING, EDITING = 'read ' * 8, 'edit ' * 8
MONTH = {'from': '2026-10-01', 'to': '2026-11-01'}
PATIENCE = 20


class Stage:
    """A collector with tokens and a month of players, whose number is counted by other code."""

    def __init__(self, collector, crowd, configurations):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        (self.folder / 'reading').write_text(READING.strip())
        (self.folder / 'editing').write_text(EDITING.strip())
        (self.folder / 'configurations.json').write_text(json.dumps(configurations))
        (self.folder / 'games').write_text(f'{KEY} {SECRET} {NAME}\n{" ".join(COIN_CAVE)} Coin Cave\n')
        self.collector = Collector(collector, self.folder, ['--read-token', self.folder / 'reading', '--edit-token', self.folder / 'editing',
                                                            '--configs', self.folder / 'configurations.json'],
                                   ['--games', self.folder / 'games'])
        self.url = self.collector.url.replace('127.0.0.1', 'localhost')
        subprocess.run([crowd, '--collector', self.collector.url, '--game', f'{KEY}:{SECRET}', '--days', '30', '--players', '400', '--seed', '12',
                        '--until', '2026-11-01', '--truth', self.folder / 'truth.json', '--quiet'], check=True, timeout=600)
        self.truth = json.loads((self.folder / 'truth.json').read_text())

    def send(self, *records, game=(KEY, SECRET)):
        """Reports of a game, signed as the library signs them."""
        key, secret = game
        body = json.dumps(records).encode()
        signature = base64.b64encode(hmac.new(secret.encode(), body, hashlib.sha256).digest()).decode()
        request = urllib.request.Request(f'{self.collector.url}/v2/{key}/events', body, {'Authorization': signature, 'Content-Type': 'application/json'})
        try:
            with urllib.request.urlopen(request, timeout=30) as answer:
                return answer.status
        except urllib.error.HTTPError as refused:
            return refused.code

    def play(self, game, script):
        """A session of Coin Cave, always the same player's."""
        (self.folder / 'script').write_text(script)
        subprocess.run([game, '--collector', self.collector.url, '--data-dir', self.folder / 'coin cave', '--script', self.folder / 'script'],
                       env={**os.environ, 'SDL_VIDEODRIVER': 'dummy'}, check=True, timeout=60)

    def stop(self):
        self.collector.stop()
        shutil.rmtree(self.folder)


def record(category, user='a player', **own):
    return {'v': 2, 'user_id': user, 'event_uuid': str(uuid.uuid4()), 'ios_idfa': '', 'ios_idfv': '', 'client_ts': int(time.time()),
            'sdk_version': 'linux 1', 'os_version': 'linux 6', 'manufacturer': 'm', 'device': 'x', 'platform': 'linux', 'session_id': str(uuid.uuid4()),
            'session_num': 1, 'connection_type': 'wifi', 'build': '9.9.9', 'category': category, **own}


class Prefix(http.server.ThreadingHTTPServer):
    """A proxy that has the collector behind a part of its own address, as a studio's may."""

    def __init__(self, url, prefix):
        class Handler(http.server.BaseHTTPRequestHandler):
            def forward(self):
                if not self.path.startswith(prefix):
                    return self.send_error(404)
                body = self.rfile.read(int(self.headers.get('Content-Length', 0)))
                with contextlib.closing(http.client.HTTPConnection(urllib.parse.urlsplit(url).netloc)) as connection:
                    connection.request(self.command, self.path[len(prefix) - 1:], body, dict(self.headers))
                    answer = connection.getresponse()
                    content = answer.read()
                self.send_response(answer.status)
                for name, value in answer.getheaders():
                    self.send_header(name, value)
                self.end_headers()
                return self.wfile.write(content)

            do_GET = do_POST = forward

            def log_message(self, *_):
                pass

        super().__init__(('127.0.0.1', 0), Handler)
        self.url = f'http://localhost:{self.server_port}{prefix}'
        threading.Thread(target=self.serve_forever, daemon=True).start()


class Browser:
    """Chromium on the console. What is read from it is what stands there for people, once nothing is under way."""

    def __init__(self, url, chromium, driver):
        self.url = url
        self.profile = tempfile.mkdtemp()
        options = Options()
        options.binary_location = chromium
        for argument in ('--headless=new', '--no-sandbox', '--disable-gpu', '--disable-dev-shm-usage', '--lang=en-US', '--window-size=1300,1000',
                         f'--user-data-dir={self.profile}'):
            options.add_argument(argument)
        options.set_capability('goog:loggingPrefs', {'browser': 'ALL'})
        self.driver = webdriver.Chrome(service=Service(driver), options=options)

    def quit(self):
        self.driver.quit()
        shutil.rmtree(self.profile, ignore_errors=True)

    def visit(self, page, **values):
        """By its address alone, as from a colleague."""
        query = urllib.parse.urlencode({'game': KEY, **MONTH, **values}, quote_via=urllib.parse.quote)
        self.driver.get('about:blank')
        self.driver.get(f'{self.url}/#/{page}?{query}')
        self.settle()

    def settle(self):
        self.until(lambda: self.driver.execute_script('''
            const busy = document.querySelector('[aria-busy=true]') || /Asking the collector|The console is loading/.test(document.body.innerText);
            return !busy && document.querySelector('main') !== null;'''), 'nothing is under way')

    def until(self, condition, what, seconds=PATIENCE):
        end = time.monotonic() + seconds
        while not condition():
            if time.monotonic() > end:
                raise AssertionError(f'not within {seconds} s: {what}; the page says: {self.text()[:3000]}')
            time.sleep(0.05)

    def text(self):
        return self.driver.find_element(By.TAG_NAME, 'body').text

    def text_of(self, selector):
        return ' '.join(each.text for each in self.driver.find_elements(By.CSS_SELECTOR, selector))

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def press(self, label):
        self.driver.find_element(By.XPATH, f'//button[normalize-space()={json.dumps(label)}]').click()

    def fields(self, label):
        return self.driver.find_elements(By.XPATH, f'//label[normalize-space(text()[1])={json.dumps(label)}]//*[self::input or self::select]')

    def field(self, label):
        return self.fields(label)[0]

    def fill(self, label, *texts):
        """The fields of this label, in the order of the page, each left as with the tab key."""
        fields = self.fields(label)
        assert len(fields) == len(texts), f'{len(fields)} fields are there for {label}'
        for field, text in zip(fields, texts):
            field.clear()
            field.send_keys(text, '\t')

    def picture(self, file, height):
        """Of a window without bars to scroll, whatever the machine's screen."""
        self.driver.execute_cdp_cmd('Emulation.setScrollbarsHidden', {'hidden': True})
        self.driver.execute_cdp_cmd('Emulation.setDeviceMetricsOverride', {'width': 1280, 'height': height, 'deviceScaleFactor': 1, 'mobile': False})
        self.driver.execute_cdp_cmd('Emulation.setEmulatedMedia', {'features': [{'name': 'prefers-color-scheme', 'value': 'light'}]})
        time.sleep(0.5)  # the charts are drawn once their new size is known
        file.write_bytes(self.driver.get_screenshot_as_png())

    def choose(self, label, value):
        Select(self.field(label)).select_by_visible_text(value)
        self.settle()

    def tile(self, label):
        return self.driver.find_element(By.XPATH, f'//div[@class="tile"][dt={json.dumps(label)}]//span[@class="number"]').text

    def table(self, caption):
        """Its rows as texts by the titles of its columns, also of one that is folded up."""
        script = '''
            const table = [...document.querySelectorAll('table')].find((each) => each.caption.textContent === arguments[0]);
            const names = [...table.querySelectorAll('thead th')].map((each) => each.textContent);
            return [...table.querySelectorAll('tbody tr')].map((row) => Object.fromEntries([...row.cells].map((cell, at) => [names[at], cell.textContent])));'''
        with contextlib.suppress(Exception):
            return self.driver.execute_script(script, caption)
        raise AssertionError(f'there is no table "{caption}"; the page says: {self.text()[:3000]}')

    def complaints(self):
        """What the browser wrote into its console since the last time, without answers that were refused on purpose."""
        return [line['message'] for line in self.driver.get_log('browser')
                if not any(f'status of {status}' in line['message'] for status in (401, 403, 409))]


def number(text):
    """A number as en-US writes it."""
    return float(re.sub(r'[^0-9.\-]', '', text))
