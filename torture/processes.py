"""Several processes of one game share a folder and all send: what each has seen stored arrives."""

import signal
import time

from support import QUIET, Collector, Known, Player, Proxy, check_events, check_file, life

STEPS = ['start', 'forever', 'post 10', 'stored', 'post 3', 'stored', 'afterwards', 'stored', 'background']
TIMEOUT = 20


def run(part):
    names = ['2', '4'] if not part.short else ['3']
    seconds = 3 if part.short else max(5, (part.ends - time.monotonic()) / len(names))
    part.play(lambda folder, name: share(part, folder, name, seconds), names, lanes=1)


def share(part, folder, name, seconds):
    knowns = {f'p{number}': Known() for number in range(int(name))}
    with Collector(part, folder) as collector, Proxy(collector, part.random(name), TIMEOUT) as proxy:
        players = {tag: Player(part, folder, proxy.url_of_next_life(), STEPS, tag=tag, queue_seconds=1.5,
                               timeout=TIMEOUT) for tag in knowns}
        try:
            time.sleep(seconds)
            for player in players.values():
                player.process.send_signal(signal.SIGUSR1)
            for tag, player in players.items():
                player.wait()
                knowns[tag].learn(player.said())
        finally:
            for player in players.values():
                player.kill()
        life(part, folder, proxy.url_of_next_life(), QUIET, timeout=TIMEOUT)
        for tag, known in knowns.items():
            check_events(part, name, collector, known, tag)
        check_file(part, name, folder / 'data')
