"""Games are killed at random moments, a few times over one folder, while the collector is in all moods."""

import itertools
import time

from support import (QUIET, Collector, Known, Player, Proxy, check_events, check_file, check_numbers, check_sessions,
                     life)

PLAYS = {
    'fast': ['start', 'forever', 'post 40', 'stored', 'run', 'wait 0.02'],
    'paced': ['start', 'forever', 'post 1', 'wait 0.005', 'post 1', 'stored', 'wait 0.005'],
    'sessions': ['start', 'forever', 'post 2', 'background', 'foreground', 'stored'],
    'purchases': ['start', 'forever', 'buy 3', 'post 1', 'stored', 'run', 'wait 0.01'],
}
WEATHERS = [
    ['well'], ['well', 'slow'], ['well', 'refuse', 'before', 'taken', 'middle', 'after', 'reset'], ['hang', 'well'],
    ['taken'], ['hang'],
]
MOST_WAITING = 2500  # events in a round: fewer than what a large file would lose
TIMEOUT = 0.7


def run(part):
    part.play(lambda folder, name: kill_again_and_again(part, folder, name), range(2) if part.short else itertools.count())


def kill_again_and_again(part, folder, name):
    rng = part.random(name)
    known, killed, deaths = Known(), set(), 0
    next_number = 1
    with Collector(part, folder) as collector, Proxy(collector, rng, TIMEOUT) as proxy:
        for _ in range(4 if part.short else 10):
            proxy.moods = rng.choice(WEATHERS)
            play = PLAYS[rng.choice(list(PLAYS))]
            # Half of them die while they come up.
            moment = rng.uniform(0, 0.06) if rng.random() < 0.5 else rng.uniform(0.06, 0.9)
            with Player(part, folder, proxy.url_of_next_life(), play, first=next_number, timeout=TIMEOUT,
                        queue_seconds=rng.choice([0.05, 0.2, 3600])) as player:
                time.sleep(moment)
                if not player.kill():
                    player.wait()
                deaths += 1
                killed.add(proxy.lives)
                known.learn(player.said())
            next_number += 100_000
            if len(known.numbers) > MOST_WAITING:
                break
        proxy.moods = ['well']
        proxy.patience = 60
        life(part, folder, proxy.url_of_next_life(), QUIET, known, timeout=60, first=next_number)
        check_events(part, name, collector, known)
        check_sessions(part, name, collector, known)
        check_numbers(part, name, collector, 'user', 'session_num')
        check_numbers(part, name, collector, 'business', 'transaction_num')
        wrong = proxy.wrong_repeats(killed)
        if wrong:
            part.finding(name, f'{len(wrong)} events came again although they were answered: {sorted(wrong)[:3]}')
        check_file(part, name, folder / 'data')
        part.count(kills=deaths)
