"""The disk is full, of the game's own events or of something else's, until the collector answers: sending goes on and
makes room. Needs the right to mount a small file system; it is mounted in a name space of its own."""

import itertools
import time

from support import (PATIENCE, QUIET, Collector, Known, Player, Proxy, check_events, check_file, check_sessions, life,
                     number_of, small_disk, small_disks)

# A disk takes more than the MiB that the library reserves for sending.
STEPS = ['start', 'stored', 'forever', 'post 15', 'buy 5', 'stored', 'wait 0.02']
RECEIPTS = [1, 1, 1000, 6000, 40_000]
TIMEOUT = 2


def run(part):
    if not small_disks():
        part.remark = 'not run: no right to mount a small file system'
        return
    part.play(lambda folder, name: fill(part, folder, name), range(1) if part.short else itertools.count())


def fill(part, folder, name):
    rng = part.random(name)
    (folder / 'data').mkdir()
    with small_disk(folder / 'data', rng.choice(['2000k', '3000k', '6000k'])):
        fill_mounted(part, folder, name, rng)


def fill_mounted(part, folder, name, rng):
    known = Known()
    filler = folder / 'data' / 'filler'
    with Collector(part, folder) as collector, Proxy(collector, rng, TIMEOUT) as proxy:
        proxy.moods = ['refuse']
        steps = [f'receipt {rng.choice(RECEIPTS)}', *STEPS]
        with Player(part, folder, proxy.url_of_next_life(), steps, queue_seconds=0.3, timeout=TIMEOUT) as player:
            if rng.random() < 0.6:
                wait_for_the_reserve(folder / 'data' / 'zorvane.sqlite.reserve')
                time.sleep(rng.uniform(0, 0.8))
                fill_up(filler, rng.choice([0, 4096, 30_000, 100_000]))
            wait_until_no_more_is_stored(player, known)
            proxy.moods = ['well']
            wait_until_arrived(part, name, player, collector, set(known.numbers))
            if not player.kill():
                player.wait()
            known.learn(player.said())
        filler.unlink(missing_ok=True)
        life(part, folder, proxy.url_of_next_life(), QUIET, known, first=100_000)
        check_events(part, name, collector, known)
        check_sessions(part, name, collector, known, starts_known=False)
        check_file(part, name, folder / 'data')


def wait_for_the_reserve(reserve):
    """A disk that was full before the game came has nothing to send with."""
    ends = time.monotonic() + PATIENCE
    while not reserve.exists() and time.monotonic() < ends:
        time.sleep(0.01)


def fill_up(filler, but_for):
    """Takes the whole disk, then gives some bytes back."""
    size = 0
    with open(filler, 'wb', buffering=0) as file:
        try:
            while True:
                size += file.write(b'x' * 4096)
        except OSError:
            file.truncate(max(0, size - but_for))


def wait_until_no_more_is_stored(player, known):
    began = time.monotonic()
    grown, highest = began, -1
    while time.monotonic() - grown < 2 and time.monotonic() - began < PATIENCE and player.process.poll() is None:
        known.learn(player.said())
        if len(known.numbers) > highest:
            grown, highest = time.monotonic(), len(known.numbers)
        time.sleep(0.1)


def wait_until_arrived(part, name, player, collector, numbers):
    """While the disk is as full as something else made it."""
    ends = time.monotonic() + PATIENCE / 2
    missing = numbers
    while missing and time.monotonic() < ends and player.process.poll() is None:
        time.sleep(0.3)
        missing = numbers - {number_of(record) for record in collector.records()}
    if player.process.poll() is not None:
        part.finding(name, f'the game ended; {player.last_words()}')
    elif missing:
        part.finding(name, f'{len(missing)} of {len(numbers)} events are not sent while the disk is full')
