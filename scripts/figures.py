"""Shows what a collector answers about a game, for scripts/demo, and fails where something is missing in it.

    figures.py recording URL CA_FILE GAME              the events of the recorded session
    figures.py crowd     URL CA_FILE GAME TRUTH_FILE   the days of a population; TRUTH_FILE: what it counted itself
"""

import datetime
import json
import re
import ssl
import sys
import urllib.parse
import urllib.request

EVERY_CATEGORY = 'user business resource progression design error ads impression session_end'.split()
EVER = ('1970-01-01', '2100-01-01')  # events without a time of their own count for the first of these days


class Collector:
    def __init__(self, url, authority, game):
        self.url, self.game, self.trust = url, game, ssl.create_default_context(cafile=authority)

    def get(self, path):
        with urllib.request.urlopen(self.url + path, context=self.trust, timeout=60) as answer:
            return answer.read().decode()

    def ask(self, question, days=EVER, **parameters):
        """The answer's rows, each a dictionary."""
        parameters |= {'game': self.game, 'from': days[0], 'to': days[1]}
        answer = json.loads(self.get(f'/api/questions/{question}?{urllib.parse.urlencode(parameters)}'))
        return [dict(zip(answer['columns'], row)) for row in answer['rows']]

    def metrics(self):
        return {name: int(number) for name, number in re.findall(r'^zorvane_(\w+) (\d+)$', self.get('/metrics'), re.M)}


def show(columns, rows):
    """The first column to the left, the others to the right."""
    print()
    for row in (columns, *rows):
        cells = [f'{cell:,}' if isinstance(cell, int) else str(cell) for cell in row]
        print((f'    {cells[0]:12}' + ''.join(f'{cell:>15}' for cell in cells[1:])).rstrip())


def share(of, to):
    return f'{100 * of / to:.0f} %' if to else ''


def counted(number, what):
    return f'{number:,} {what}' + ('' if number == 1 else 's')


def money(rows):
    def amount(row):  # totals are in the currency's smallest unit
        return f'{row["total"]:,.0f} JPY' if row['currency'] == 'JPY' else f'{row["total"] / 100:,.2f} {row["currency"]}'

    return '; '.join(f'{amount(row)} in {counted(row["events"], "purchase")}' for row in rows)


def show_events(collector):
    rows = collector.ask('events')
    events = {row['category']: row['events'] for row in rows}
    show(('category', 'events', 'players'),
         [(row['category'], row['events'], row['players'] or '') for row in sorted(rows, key=lambda row: row['category'])] +
         [('together', sum(events.values()), '')])
    return events


def recording(collector):
    events = show_events(collector)
    metrics = collector.metrics()
    whole = collector.ask('overview', whole='yes')[0]
    print(f'\n    {counted(whole["players"], "player")}, {counted(whole["sessions"], "session")}; {money(collector.ask("revenue"))}')
    for level in collector.ask('levels'):
        name = ' '.join(filter(None, (level[f'progression0{part}'] for part in (1, 2, 3))))
        print(f'    level {name}: {level["starts"]} started, {level["fails"]} failed, {level["completes"]} completed, '
              f'score {level["mean_score"]:.0f}')
    for flow in collector.ask('economy'):
        print(f'    {flow["currency"]}: {flow["earned"]:.0f} earned, {flow["spent"]:.0f} spent, {flow["balance"]:+.0f} together')
    print(f'    {counted(metrics["init_calls_total"], "init call")}; signatures: {metrics["bad_signatures_total"]} bad; '
          f'records: {metrics["refused_records_total"]} refused\n'
          f'    {metrics["received_bytes_total"]:,} bytes on the wire, {metrics["inflated_bytes_total"]:,} unpacked\n')
    missing = [category for category in EVERY_CATEGORY if not events.get(category)]
    if missing or metrics['bad_signatures_total'] or metrics['refused_records_total']:
        sys.exit(f'demo: categories without an event: {missing}; or signatures are wrong, or records were refused')


def crowd(collector, truth):
    with open(truth) as file:
        played = json.load(file)['categories']
    today = datetime.datetime.now(datetime.timezone.utc).date()
    days = (str(today - datetime.timedelta(days=40)), str(today))
    retained = {(row['first_day'], row['days_later']): row['players'] for row in collector.ask('retention', days)}

    def back(first_days):  # on the next day, of those for whom it is over
        over = [day for day in first_days if day < str(today - datetime.timedelta(days=1))]
        return share(sum(retained.get((day, 1), 0) for day in over), sum(retained.get((day, 0), 0) for day in over))

    rows = collector.ask('overview', days)
    whole = collector.ask('overview', days, whole='yes')[0]
    revenue = collector.ask('revenue', days)
    columns = ('players', 'new_players', 'sessions')
    show(('day', 'players', 'new', 'sessions', 'back next day'),
         [(row['day'], *(row[each] for each in columns), back([row['day']])) for row in rows] +
         [('together', *(whole[each] for each in columns), back([row['day'] for row in rows]))])
    groups = {row['ab_variant_id']: row for row in collector.ask('groups', days)}
    show(('group', 'players', 'sessions', 'minutes each', 'back next day'),
         [(name, row['players'], row['sessions'], f'{row["seconds"] / row["ended"] / 60:.1f}',
           share(row['back_next_day'], row['new_with_next_day'])) for name, row in sorted(groups.items())])
    print(f'\n    Revenue: {money(revenue) or "none"}')
    levels = collector.ask('levels', days)
    hardest = max(levels, key=lambda level: level['fails'] / max(level['starts'], 1))
    print(f'    The hardest level: {hardest["progression01"]} {hardest["progression02"]}, '
          f'{share(hardest["fails"], hardest["starts"])} of its tries fail')
    events = {row['category']: row['events'] for row in collector.ask('events')}
    refused = collector.metrics()['refused_records_total']
    print(f'    {counted(sum(events.values()), "event")}; each that was acknowledged is there once\n')
    if events != played or refused:
        sys.exit(f'demo: {events} were received and {played} were played, {refused} records were refused')


if __name__ == '__main__':
    what, url, authority, game, *truth = sys.argv[1:]
    {'recording': recording, 'crowd': crowd}[what](Collector(url, authority, game), *truth)
