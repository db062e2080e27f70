"""A game plays on while its collector fails in every way, then is well: the store empties, memory and descriptors stay
flat, and in the end the processor idles."""

import os
import pathlib
import signal
import time

from support import PATIENCE, Collector, Failure, Known, Player, Proxy, check_events, check_file, check_sessions

STEPS = ['start', 'forever', 'post 2', 'stored', 'wait 0.1', 'afterwards', *['run'] * 12, 'stored', 'say idle',
         'wait 10', 'background']
MOODS = ['well', 'slow', 'refuse', 'before', 'taken', 'middle', 'after', 'reset', 'hang']
TIMEOUT = 1
MOST_GROWTH_KB, MOST_NEW_DESCRIPTORS, MOST_IDLE_LOAD = 16_384, 4, 0.1


def run(part):
    seconds = 5 if part.short else max(10, part.ends - time.monotonic() - 20)
    part.play(lambda folder, name: soak(part, folder, name, seconds), ['0'], lanes=1)


def memory(pid):
    lines = pathlib.Path(f'/proc/{pid}/status').read_text().splitlines()
    return next(int(line.split()[1]) for line in lines if line.startswith('VmRSS'))


def descriptors(pid):
    return len(os.listdir(f'/proc/{pid}/fd'))


def processor_seconds(pid):
    fields = pathlib.Path(f'/proc/{pid}/stat').read_text().rpartition(')')[2].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf('SC_CLK_TCK')


def wait_for(player, word):
    ends = time.monotonic() + PATIENCE
    while player.process.poll() is None and word not in player.said().split('\n'):
        if time.monotonic() > ends:
            raise Failure(f'the queue does not come to its end; {player.last_words()}')
        time.sleep(0.1)


def soak(part, folder, name, seconds):
    known = Known()
    with Collector(part, folder) as collector, Proxy(collector, part.random(name), TIMEOUT) as proxy:
        proxy.moods = MOODS
        with Player(part, folder, proxy.url_of_next_life(), STEPS, queue_seconds=0.5, timeout=TIMEOUT) as player:
            pid = player.process.pid
            time.sleep(seconds / 3)
            early = memory(pid), descriptors(pid)
            time.sleep(seconds * 2 / 3)
            late = memory(pid)
            proxy.moods = ['well']
            proxy.patience = 60
            player.process.send_signal(signal.SIGUSR1)
            wait_for(player, 'idle')
            began, before = time.monotonic(), processor_seconds(pid)
            time.sleep(5)
            load = (processor_seconds(pid) - before) / (time.monotonic() - began)
            held = descriptors(pid)
            player.wait()
            known.learn(player.said())
        for what, value, most in (('KiB of memory gained', late - early[0], MOST_GROWTH_KB),
                                  ('descriptors gained', held - early[1], MOST_NEW_DESCRIPTORS),
                                  ('of a processor while idle', load, MOST_IDLE_LOAD)):
            if value > most:
                part.finding(name, f'{value} {what}, at most {most} are expected')
        part.remark = f'memory {early[0]:,} to {late:,} KiB, {early[1]} to {held} descriptors, idle load {load:.3f}'
        check_events(part, name, collector, known)
        check_sessions(part, name, collector, known)
        check_file(part, name, folder / 'data')
