"""The collector is killed, stopped, locked out, filled up and flooded, while a crowd and a game send to it: what it
acknowledged is there exactly once, and what it didn't comes again and arrives."""

import base64
import contextlib
import gzip
import hashlib
import hmac
import http.client
import itertools
import json
import os
import pathlib
import signal
import socket
import sqlite3
import subprocess
import threading
import time

from support import (KEY, PATIENCE, QUIET, Failure, Known, Player, check_events, check_file, check_sessions,
                     free_port, life, small_disk, small_disks)

GAME = KEY.split(':')[0]
CROWD = GAME[::-1] + ':' + KEY.split(':')[1]  # a game of its own
STRANGE, SECRET = CROWD.split(':')
PLAY = ['start', 'forever', 'post 5', 'buy 1', 'background', 'foreground', 'stored', 'wait 0.02']
TIMEOUT = 2  # of the game's requests
STOP_SECONDS = 5
LOCKED_SECONDS = 6  # longer than the collector waits for a lock
MOST_MEMORY_KB = 256 * 1024


class Service:
    """A collector that comes back on the same port, over the same archive."""

    def __init__(self, part, folder):
        self.part, self.port = part, free_port()
        self.url = f'http://127.0.0.1:{self.port}'
        (folder / 'collector').mkdir()
        self.archive = folder / 'collector' / 'archive.sqlite'
        self.process = None

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process:
            self.end(signal.SIGKILL)

    def start(self, wrap=(), options=('--quiet',), log=subprocess.DEVNULL):
        command = [*wrap, self.part.program('collector/zorvane-collector'), '--port', str(self.port), '--game', KEY, '--game', CROWD,
                   '--database', str(self.archive), *options]
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=log, text=True)
        if not self.process.stdout.readline():
            raise Failure(f'the collector does not start: {self.process.wait()}')

    def end(self, by=signal.SIGTERM):
        """Its status, and how long it took."""
        began = time.monotonic()
        self.process.send_signal(by)
        try:
            status = self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            raise Failure(f'the collector does not end by signal {by}') from None
        self.process.stdout.close()
        return status, time.monotonic() - began

    def alive(self):
        if self.process.poll() is not None:
            raise Failure(f'the collector ended with {self.process.returncode}')

    def memory_peak(self):
        lines = pathlib.Path(f'/proc/{self.process.pid}/status').read_text().splitlines()
        return next(int(line.split()[1]) for line in lines if line.startswith('VmHWM'))

    def rows(self, sql):
        with contextlib.closing(sqlite3.connect(self.archive, PATIENCE)) as database:
            return database.execute(sql).fetchall()

    def records(self):
        return [json.loads(text) for (text,) in self.rows(f"SELECT record FROM event WHERE game = '{GAME}' ORDER BY id")]

    def refused(self):
        return self.rows("SELECT reasons, record FROM rejected WHERE game = (SELECT id FROM games WHERE "
                         f"key = '{GAME}')")


class Load:
    """A crowd and a game that send until the disturbance is over, then bring the rest."""

    def __init__(self, part, folder, service, rng):
        self.part, self.folder, self.service, self.known = part, folder, service, Known()
        self.truth = folder / 'truth.json'
        self.log = open(folder / 'crowd.log', 'w+')
        self.crowd = subprocess.Popen(
            [part.program('tools/zorvane-crowd'), '--collector', service.url, '--game', CROWD, '--days', '5', '--players',
             '60' if part.short else '600', '--until', '2026-11-01', '--seed', str(rng.randrange(1 << 30)), '--connections',
             '8', '--patience', str(PATIENCE), '--truth', str(self.truth), '--quiet'],
            stdout=subprocess.DEVNULL, stderr=self.log)
        self.player = Player(part, folder, service.url, PLAY, data='game', timeout=TIMEOUT, queue_seconds=0.1)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.player.kill()
        self.crowd.kill()
        self.crowd.wait()
        self.log.close()

    def over(self):
        return self.crowd.poll() is not None

    def bring_the_rest(self, name):
        """The crowd ends by itself; the game is killed, so its next life has something to bring."""
        self.player.kill()
        self.known.learn(self.player.said())
        try:
            status = self.crowd.wait(5 * PATIENCE)
        except subprocess.TimeoutExpired:
            raise Failure('the crowd does not come to its end') from None
        if status != 0:
            self.log.seek(0)
            self.part.finding(name, f'the crowd ended with {status}: {self.log.read()[-300:]}')
        life(self.part, self.folder, self.service.url, QUIET, self.known, data='game', timeout=PATIENCE, first=1_000_000)


def run(part):
    small_disks()  # here, for all threads
    kinds = list(KINDS)
    names = kinds if part.short else (f'{kind} {number}' for number in itertools.count() for kind in kinds)
    part.play(lambda folder, name: play(part, folder, name), names)


def play(part, folder, name):
    with Service(part, folder) as service:
        KINDS[name.split()[0]](part, folder, name, service)


def check(part, name, folder, service, load):
    """The archive holds what the crowd and the game know of, once, and its small tables say the same."""
    check_events(part, name, service, load.known)
    check_sessions(part, name, service, load.known)
    check_file(part, name, folder / 'game')
    crowd = json.loads(load.truth.read_text())
    kept = {category: (count, different) for category, count, different in service.rows(
        f"SELECT category, count(*), count(DISTINCT event_uuid) FROM event WHERE game = '{crowd['game']}' GROUP BY category")}
    acknowledged = {**crowd['categories'], 'sdk_error': sum(crowd['sdk_errors'].values())}
    for category in kept.keys() | acknowledged.keys():
        wanted, found = acknowledged.get(category, 0), kept.get(category, (0, 0))
        if found != (wanted, wanted):
            part.finding(name, f'{category}: {wanted} acknowledged, {found[0]} kept, {found[1]} of them different')
    for table, of in (('player_days', 'player > 0'), ('sessions', 'session IS NOT NULL')):
        (events,), = service.rows(f'SELECT count(*) FROM events WHERE {of}')
        (tallied,), = service.rows(f'SELECT sum(events) FROM {table}')
        if events != tallied:
            part.finding(name, f'{table} counts {tallied} of {events} events')
    found = service.rows('PRAGMA integrity_check')
    if found != [('ok',)]:
        part.finding(name, f'the archive is damaged: {found[:3]}')
    part.count(records=crowd['all']['events'])


def disturbed(part, folder, name, service, disturb):
    rng = part.random(name)
    service.start()
    with Load(part, folder, service, rng) as load:
        disturb(rng, load)
        service.alive()
        load.bring_the_rest(name)
        check(part, name, folder, service, load)


def kill(part, folder, name, service):
    def disturb(rng, load):
        for _ in range(4 if part.short else 20):
            time.sleep(rng.uniform(0.02, 0.7))
            service.end(signal.SIGKILL)
            part.count(kills=1)
            service.start()
            if load.over():
                break
    disturbed(part, folder, name, service, disturb)


def stop(part, folder, name, service):
    def disturb(rng, load):
        for _ in range(3 if part.short else 10):
            time.sleep(rng.uniform(0.05, 0.7))
            status, seconds = service.end()
            if status != 0:
                part.finding(name, f'the collector ended with {status}')
            # The promise is about requests; a busy machine may need a while for the rest.
            if seconds > STOP_SECONDS + (PATIENCE / 2 if part.short else 1):
                part.finding(name, f'the collector took {seconds:.1f} s to end')
            part.count(stops=1)
            service.start()
            if load.over():
                break
    disturbed(part, folder, name, service, disturb)


def lock(part, folder, name, service):
    def disturb(rng, load):
        for _ in range(1 if part.short else 3):
            time.sleep(rng.uniform(0, 0.1))
            with contextlib.closing(sqlite3.connect(service.archive, PATIENCE, isolation_level=None)) as database:
                database.execute('BEGIN IMMEDIATE')
                time.sleep(rng.uniform(LOCKED_SECONDS, 2 * LOCKED_SECONDS))
                database.execute('ROLLBACK')
            part.count(locks=1)
    disturbed(part, folder, name, service, disturb)


def full(part, folder, name, service):
    if not small_disks():
        part.remark = 'full: not run, no right to mount a small file system'
        return

    def disturb(rng, load):
        filler = service.archive.parent / 'filler'
        for _ in range(1 if part.short else 3):
            time.sleep(rng.uniform(0.1, 0.5))
            fill(filler)
            time.sleep(rng.uniform(1, 5))
            filler.unlink()
            part.count(full=1)
    with small_disk(service.archive.parent, '400m'):
        disturbed(part, folder, name, service, disturb)
        service.end()


def fill(path):
    with open(path, 'wb', buffering=0) as file, contextlib.suppress(OSError):
        while True:
            file.write(bytes(1 << 20))


def ask(service, body=b'', method='POST', path=f'/v2/{STRANGE}/events', secret=SECRET, address='127.0.0.1'):
    """The status; None when there was no answer."""
    fields = {'Content-Encoding': 'gzip', 'Authorization':
              base64.b64encode(hmac.digest(secret.encode(), body, hashlib.sha256)).decode()}
    connection = http.client.HTTPConnection('127.0.0.1', service.port, PATIENCE, source_address=(address, 0))
    with contextlib.closing(connection):
        try:
            connection.request(method, path, body or None, fields if body else {})
            return connection.getresponse().status
        except (OSError, http.client.HTTPException):
            return None


HOSTILE = {
    'many tiny records': lambda: b'[' + b'{},' * 2_600_000 + b'{}]',
    'many numbers': lambda: b'[' + b'1,' * 7_000_000 + b'1]',
    'one record of many fields': lambda: b'[{' + b','.join(b'"f%d":%d' % (each, each) for each in range(900_000)) + b'}]',
    'depth': lambda: b'[' * 8_000_000,
    'a long text': lambda: b'[{"category":"' + b'x' * 15_000_000 + b'"}]',
    'escapes': lambda: b'[{"category":"' + b'\\u0041' * 2_500_000 + b'"}]',
    'what inflates a thousand times': lambda: bytes(1 << 30),
}


def hostile(part, folder, name, service):
    service.start()
    bodies = {what: gzip.compress(make(), 9) for what, make in HOSTILE.items()}
    strangers = [('a stranger', os.urandom(8 << 20), 'another') for _ in range(8 if part.short else 40)]
    calls = [(what, body, SECRET) for what, body in bodies.items()] * (1 if part.short else 4) + strangers

    def send(at, what, body, secret):
        status = ask(service, body, secret=secret, address=f'127.0.1.{1 + at % 200}')
        if status not in (None, 200, 400, 401, 413):
            part.finding(name, f'{what} is answered with {status}')
    threads = [threading.Thread(target=send, args=(at, *call)) for at, call in enumerate(calls)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    service.alive()
    peak = service.memory_peak()
    part.count(hostile_bodies=len(calls))
    if not part.instrumented and peak > MOST_MEMORY_KB:
        part.finding(name, f'{peak:,} KiB of memory at the peak')
    part.remark = f'{peak // 1024:,} MiB at the peak'
    well(part, folder, name, service)


def well(part, folder, name, service, first=1):
    """The whole life of a game that wasn't here before arrives."""
    known = Known()
    life(part, folder, service.url, ['start', 'post 20', *QUIET[1:]], known, data=f'game{first}', timeout=PATIENCE, first=first)
    check_events(part, name, service, known)
    check_sessions(part, name, service, known)


def slow(part, folder, name, service):
    service.start()
    head = f'POST /v2/{STRANGE}/events HTTP/1.1\r\nHost: x\r\nContent-Length: 100000\r\n'.encode()
    beginnings = [b'', b'P', head, head + b'\r\n' + b'x' * 1000, b'GET /health HTTP/1.1\r\n']
    clients = []
    with contextlib.ExitStack() as stack:
        for each in range(200 if part.short else 3000):
            client = stack.enter_context(socket.socket())
            client.bind((f'127.0.{2 + each // 200}.{1 + each % 200}', 0))
            client.connect(('127.0.0.1', service.port))
            client.sendall(beginnings[each % len(beginnings)])
            clients.append(client)
        began = time.monotonic()
        if ask(service, method='GET', path='/health') != 200:
            part.finding(name, 'a good client is not answered')
        took = time.monotonic() - began
        if took > 1 and not part.short:
            part.finding(name, f'a good client waits {took:.1f} s')
        part.count(slow_clients=len(clients))
        well(part, folder, name, service)


def log(part, folder, name, service):
    """Its log is closed, full, or read by nobody."""
    reading, writing = os.pipe()
    with open('/dev/full', 'w') as full_device, os.fdopen(writing, 'w') as unread:
        logs = {'full': ((), full_device), 'unread': ((), unread), 'closed': (('sh', '-c', 'exec "$0" "$@" 2>&-'), None)}
        for at, (what, (wrap, target)) in enumerate(logs.items()):
            service.start(wrap, options=(), log=target)
            for _ in range(50 if part.short else 2000):
                if ask(service, method='GET', path='/x' * 100) != 404:
                    part.finding(name, f'with a log that is {what}, a request gets no answer')
                    break
            well(part, folder, name, service, first=1 + 1000 * at)
            if service.end()[0] != 0:
                part.finding(name, f'with a log that is {what}, it ends badly')
            part.count(logs=1)
    os.close(reading)
    service.start()


def descriptors(part, folder, name, service):
    """There are more clients than descriptors."""
    service.start(('prlimit', '--nofile=90:90'))
    with contextlib.ExitStack() as stack:
        for _ in range(200):
            client = stack.enter_context(socket.socket())
            client.settimeout(PATIENCE)
            client.connect(('127.0.0.1', service.port))
        time.sleep(0.5)
    well(part, folder, name, service)
    part.count(without_descriptors=1)


KINDS = {function.__name__: function for function in (kill, stop, lock, full, hostile, slow, log, descriptors)}
