#!/usr/bin/env python3
"""Opens each page of the console of a collector that runs, in Chromium, and prints how long the questions took that it
asked: how many, the longest one, and from the first to the last answer, in milliseconds; the best of some times."""

import argparse
import os
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / 'tests' / 'console'))
from stage import Browser, By  # noqa: E402: it is found by the line above

ASKED = '''
    const asked = performance.getEntriesByType("resource").filter((each) => each.name.includes("/api/questions/"));
    return asked.map((each) => [each.startTime, each.responseEnd]);'''
PAGES = '''
    return [...document.querySelectorAll("nav a")].map((each) => each.hash.replace(/^#[/]/, "").split("?")[0]);'''


def measured(browser, page, view):
    browser.visit(page, **view)
    spans = browser.driver.execute_script(ASKED)
    if not spans:
        return 0, 0, 0
    return len(spans), max(end - start for start, end in spans), max(end for _, end in spans) - min(start for start, _ in spans)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument('url', help='of the collector')
    parser.add_argument('--game', required=True, metavar='KEY')
    parser.add_argument('--from', required=True, dest='first', metavar='DAY', help='such as 2026-10-23')
    parser.add_argument('--to', required=True, dest='last', metavar='DAY')
    parser.add_argument('--token', help='for reading, where the collector asks for one')
    parser.add_argument('--times', type=int, default=3)
    parser.add_argument('--chromium', default='/usr/bin/chromium')
    parser.add_argument('--driver', default='/usr/bin/chromedriver')
    options = parser.parse_args()
    view = {'game': options.game, 'from': options.first, 'to': options.last}
    browser = Browser(options.url.rstrip('/'), options.chromium, options.driver)
    try:
        browser.visit('overview', **view)
        if options.token:
            browser.find('input[name=token]').send_keys(options.token)
            browser.press('Sign in')
            browser.until(lambda: browser.driver.find_elements(By.CSS_SELECTOR, 'nav a'), 'the pages')
        print(f'load average {os.getloadavg()[0]:.1f}\n{"page":16}{"questions":>10}{"longest":>9}{"all":>7}')
        for page in browser.driver.execute_script(PAGES):
            times = [measured(browser, page, view) for _ in range(options.times)]
            print(f'{page:16}{times[0][0]:10}{min(each[1] for each in times):9.0f}{min(each[2] for each in times):7.0f}', flush=True)
    finally:
        browser.quit()


if __name__ == '__main__':
    main()
