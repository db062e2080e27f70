"""The clock jumps while sessions run, between them and between lives: nothing is lost, no length is below zero."""

import itertools

from support import QUIET, Collector, Known, check_events, check_file, check_sessions, life

JUMPS = ['+1', '-1', '+5', '-5', '+3600', '-86400', '+31536000', '-315360000', '0', '1', '-1000000', '2147483646',
         '2147483647', '2147483648', '4294967296', '99999999998', '99999999999', '100000000000', '253402300800']
BETWEEN = [['run'], ['background', 'foreground'], ['stored'], ['wait 0.02'], []]


def run(part):
    part.play(lambda folder, name: jump_about(part, folder, name), range(4) if part.short else itertools.count())


def jump_about(part, folder, name):
    rng = part.random(name)
    known = Known()
    with Collector(part, folder) as collector:
        for number in range(3):
            steps = [f'clock {rng.choice(JUMPS)}', 'start']
            for _ in range(6):
                steps += ['post 2', *rng.choice(BETWEEN), f'clock {rng.choice(JUMPS)}', 'post 1', *rng.choice(BETWEEN)]
            steps += ['stored', rng.choice(['die', 'background', 'wait 0'])]
            life(part, folder, collector.url, steps, known, True, first=1 + number * 1000)
        life(part, folder, collector.url, QUIET, known, first=10_000)
        check_events(part, name, collector, known)
        check_sessions(part, name, collector, known, longest=2 ** 63)
        check_file(part, name, folder / 'data')
