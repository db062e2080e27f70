#!/usr/bin/env python3
"""Plays a month of a small population into a collector and compares the answer to every question with the crowd's own
count of what it played, to the last digit."""

import argparse
import collections
import json
import pathlib
import subprocess
import sys
import tempfile
import time
import urllib.parse
import urllib.request

KEY, SECRET = '0123456789abcdef0123456789ABCDEF', '0123456789abcdef0123456789ABCDEF01234567'
ACTIVITY = {'players': 'players', 'new_players': 'new', 'sessions': 'sessions', 'ended': 'ended', 'seconds': 'seconds'}
LEVELS = 'starts', 'fails', 'completes', 'players_started', 'players_completed'
SQUARES = {name: name if 'by' in name else f'{name}_squares' for name in ('sessions', 'ended', 'seconds', 'ended_by_seconds')}
MONTH = {'from': '2026-10-02', 'to': '2026-11-01'}


class Collector:
    """A collector of its own, in `folder`."""

    def __init__(self, program, folder, options, games=('--game', f'{KEY}:{SECRET}')):
        self.process = subprocess.Popen(
            [program, *games, '--port', '0', '--database', folder / 'archive.sqlite', '--quiet', *options],
            stdout=subprocess.PIPE, text=True)
        self.url = self.process.stdout.readline().split()[-1]

    def ask(self, question, **parameters):
        query = urllib.parse.urlencode({'game': KEY, 'from': '2026-01-01', 'to': '2026-12-31', **parameters},
                                       quote_via=urllib.parse.quote)
        with urllib.request.urlopen(f'{self.url}/api/questions/{question}?{query}', timeout=120) as answer:
            table = json.load(answer)
        assert table['complete'], question
        return [dict(zip(table['columns'], row)) for row in table['rows']]

    def handed_on(self):
        """Whether all that was taken is where questions are asked: at once, but for a warehouse."""
        with urllib.request.urlopen(f'{self.url}/metrics', timeout=60) as answer:
            metrics = dict(line.rsplit(' ', 1) for line in answer.read().decode().split('\n') if line and line[0] != '#')
        return float(metrics.get('zorvane_waiting_events', 0)) == 0

    def stop(self):
        self.process.terminate()
        self.process.wait(60)


def activity_of(row):
    return [row[name] for name in ACTIVITY]


def activity_in(truth):
    return [truth[name] for name in ACTIVITY.values()]


def by(rows, *names):
    """Rows by the text of their columns, as the crowd writes it: "a:b"."""
    return {':'.join(row[name] for name in names if row[name]): row for row in rows}


def branches(truth):
    """Exact ids added up to the branches that they are in, below which branch they stand."""
    tree = collections.defaultdict(lambda: [0, 0, 0])
    for event, counted in truth.items():
        parts = event.split(':')
        for depth in range(1, len(parts) + 1):
            branch = tree[':'.join(parts[:depth])]
            branch[0] += counted['count']
            branch[1] += counted['sum']
            branch[2] += counted['values']
    return {name: [count, valued, total if valued else None] for name, (count, total, valued) in tree.items()}


def design_tree(ask, under=''):
    found = {}
    for row in ask('designs', under=under) if under else ask('designs'):
        part = next(value for name, value in row.items() if name.startswith('part'))
        if part:
            name = f'{under}:{part}' if under else part
            found[name] = [row['events'], row['valued'], row['total']]
            if name.count(':') < 4:
                found.update(design_tree(ask, name))
    return found


def comparisons(ask, truth):
    """What is compared: a name, the answer, the truth."""
    whole = truth['all']
    yield 'overview', activity_of(ask('overview', whole='yes')[0]), activity_in(whole)
    yield 'days', {row['day']: activity_of(row) for row in ask('overview')}, {day: activity_in(of) for day, of in truth['days'].items()}
    kinds = {name: count for name, count in truth['categories'].items() if name != 'sdk_error'}
    yield 'events', {row['category']: row['events'] for row in ask('events') if row['category'] != 'sdk_error'}, kinds
    for name, column in ('builds', 'build'), ('platforms', 'platform'):
        for value, of in truth[name].items():
            row = ask('overview', whole='yes', **{column: value})[0]
            names = [each for each in ACTIVITY if each != 'new_players']
            yield f'{column} {value}', [row[each] for each in names], [of[ACTIVITY[each]] for each in names]
            revenue = {each['currency']: [each['events'], each['total']] for each in ask('revenue', **{column: value})}
            yield f'revenue of {column} {value}', revenue, {currency: [each['count'], each['amount']] for currency, each in of['revenue'].items()}
    for column, values in truth['dimensions'].items():
        for value, of in values.items():
            yield f'{column} {value}', ask('overview', whole='yes', **{column: value})[0]['sessions'], of['sessions']
    seconds, sessions = whole['seconds'], whole['ended']
    lengths = ask('sessions')[0]
    yield 'sessions', [lengths['sessions'], lengths['mean']], [sessions, seconds / sessions]
    for filter, cohorts in ({}, truth['returned']), *(({'build': build}, of) for build, of in truth['returned_of_builds'].items()):
        returned = collections.defaultdict(dict)
        for row in ask('retention', **filter):
            returned[row['first_day']][row['days_later']] = row['players']
        yield f'retention {filter}', returned, {day: {later: count for later, count in enumerate(days) if count} for day, days in cohorts.items()}
    yield 'revenue', {row['currency']: [row['events'], row['total']] for row in ask('revenue')}, {currency: [of['count'], of['amount']] for currency, of in whole['revenue'].items()}
    yield 'payers', ask('revenue', by='')[0]['players'], whole['payers']
    items = {currency: {item: [row['events'], row['total']] for item, row in by(
        [row for row in ask('revenue', by='currency,item_type,item_id') if row['currency'] == currency], 'item_type', 'item_id').items()}
        for currency in truth['items']}
    yield 'items', items, {currency: {item: [of['count'], of['amount']] for item, of in all.items()} for currency, all in truth['items'].items()}
    levels = by(ask('levels'), 'progression01', 'progression02', 'progression03')
    yield 'levels', {level: [row[name] for name in LEVELS] for level, row in levels.items()}, {level: [of[name] for name in LEVELS] for level, of in truth['levels'].items()}
    for name in 'stopped', 'left':
        yield name, {level: row[f'players_{name}'] for level, row in levels.items() if row[f'players_{name}']}, truth[name]
    tries = {level: [row['timed_tries'], row['mean_seconds']] for level, row in levels.items() if row['timed_tries']}
    yield 'tries', tries, {level: [of['count'], of['amount'] / of['count']] for level, of in truth['tries'].items()}
    yield 'first purchases', {str(row['days_later']): row['players'] for row in ask('first_purchases')}, truth['first_purchases']
    yield 'hours', ask('hours', **MONTH), truth['hours']
    yield 'builds', {row['build']: row['players'] for row in ask('builds')}, {build: of['players'] for build, of in truth['builds'].items()}
    for name, column in ('builds', 'build'), ('platforms', 'platform'):
        yield f'segments by {column}', {row[column]: row['players'] for row in ask('segments', by=column)}, {value: of['players'] for value, of in truth[name].items()}
    yield 'players', len(ask('players', limit=10000)), whole['players']

    def flows(rows):
        return {name: [row['sources'], row['earned'], row['sinks'], row['spent'], row['balance']] for name, row in rows.items()}

    def flows_in(all):
        return {name: [of['source']['count'], of['source']['amount'], of['sink']['count'], abs(of['sink']['amount']),
                       of['source']['amount'] - abs(of['sink']['amount'])] for name, of in all.items()}
    yield 'economy', flows(by(ask('economy'), 'currency')), flows_in(whole['economy'])
    goods = by(ask('economy', by='currency,item_type,item_id'), 'currency', 'item_type', 'item_id')
    yield 'goods', flows(goods), flows_in({f'{currency}:{good}': of for currency, all in truth['goods'].items() for good, of in all.items()})
    yield 'designs', design_tree(ask), branches(truth['designs'])
    errors = {(row['severity'], row['message']): [row['events'], row['players']] for row in ask('errors')}
    yield 'errors', errors, {(of['severity'], of['message']): [of['count'], of['players']] for of in truth['errors']}
    for of in truth['errors']:
        rows = ask('rows', severity=of['severity'], message=of['message'], limit=1000)
        yield f'rows of {of["message"][:20]}', [len(rows), len({row['user_id'] for row in rows})], [of['count'], of['players']]
    for event in truth['designs']:
        valued = sum(of['values'] for each, of in truth['designs'].items() if f'{each}:'.startswith(f'{event}:'))
        counted = [row['events'] for row in ask('values', under=event)]
        yield f'values of {event}', [sum(counted), len(counted) <= 20], [valued, True]
    ads = {(row['ad_network'], row['ad_type'], row['ad_action']): row['events'] for row in ask('ads', by='ad_network,ad_type,ad_action')}
    yield 'ads', ads, {(network, kind, action): count for network, kinds in truth['ads'].items()
                       for kind, of in kinds.items() for action, count in of['actions'].items()}
    # Each impression counts in billionths, and the crowd's are finer: half a billionth of each may be missing or too much.
    impressions = {row['ad_network']: row for row in ask('impressions', by='ad_network')}
    yield 'impressions', {name: row['events'] for name, row in impressions.items()}, {name: of['count'] for name, of in truth['impressions'].items()}
    far = [name for name, of in truth['impressions'].items() if abs(impressions[name]['total'] - of['revenue']) > of['count'] * 0.5e-9 + 1e-15]
    yield 'networks whose revenue is another', far, []
    for name, row in by(ask('groups'), 'ab_id', 'ab_variant_id').items():
        yield f'group {name}', activity_of(row), activity_in(truth['groups'][name])
    squares = collections.defaultdict(dict)
    for row in ask('groups'):
        if row['ab_id'] and row['payers']:
            squares[f'{row["ab_id"]}:{row["ab_variant_id"]}'][row['currency']] = row['amount_squares']
    did = {name: {each: row[column] for each, column in SQUARES.items()} for name, row in by(ask('groups'), 'ab_id', 'ab_variant_id').items() if name}
    yield 'squares of what players did', did, truth['activity_squares']
    yield 'squares of what payers paid', squares, truth['amount_squares']


def main():
    options = argparse.ArgumentParser(description=__doc__)
    options.add_argument('--collector', required=True, help='the program')
    options.add_argument('--crowd', required=True, help='the program')
    options.add_argument('--warehouse', help='a ClickHouse that is asked in place of the archive: http://HOST:PORT/DATABASE, empty')
    options.add_argument('--players', default='150')
    options.add_argument('--seed', default='7')
    options = options.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        folder = pathlib.Path(folder)
        collector = Collector(options.collector, folder, ['--warehouse', options.warehouse] if options.warehouse else [])
        try:
            subprocess.run([options.crowd, '--collector', collector.url, '--game', f'{KEY}:{SECRET}', '--days', '30', '--players',
                            options.players, '--seed', options.seed, '--until', '2026-11-01', '--truth', folder / 'truth.json', '--quiet'],
                           check=True, timeout=900)
            truth = json.loads((folder / 'truth.json').read_text())
            for _ in range(600):
                if collector.handed_on():
                    break
                time.sleep(0.5)
            count = differences = 0
            for name, answer, true in comparisons(collector.ask, truth):
                count += 1
                if answer != true:
                    differences += 1
                    print(f'{name} differs:\n  answered {str(dict(answer) if isinstance(answer, dict) else answer)[:2000]}\n  true     {str(true)[:2000]}')
            print(f'{count} comparisons of {truth["all"]["events"]} events, {differences} differences')
            return 1 if differences or not truth['all']['events'] else 0
        finally:
            collector.stop()


if __name__ == '__main__':
    sys.exit(main())
