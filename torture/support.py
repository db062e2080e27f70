"""What the parts of the campaign share: the game, the collector with a mischievous proxy before it, the checks."""

import collections
import contextlib
import ctypes
import functools
import gzip
import json
import os
import pathlib
import random
import re
import shlex
import shutil
import signal
import socket
import sqlite3
import subprocess
import sys
import tempfile
import threading
import time
import traceback
import urllib.request
import zlib

KEY = '0123456789abcdef0123456789ABCDEF:0123456789abcdef0123456789ABCDEF01234567'
CLONE_NEWNS = 0x20000
PATIENCE = 60  # seconds after which a process hangs, on however busy a machine
QUIET = ['start', 'stored'] + ['run'] * 12 + ['stored', 'background']  # sends all that waits and ends the session


class Failure(Exception):
    """What keeps a round from coming to its checks."""


class Part:
    """One part of the campaign as it was asked for, and what it found."""

    def __init__(self, name, build, seed, seconds, extent, only):
        self.name, self.build, self.seed, self.only = name, build, seed, only
        self.short, self.long = extent == 'short', extent == 'long'
        self.ends = time.monotonic() + seconds
        self.instrumented = '-fsanitize=' in (build / 'CMakeCache.txt').read_text()
        self.rounds = 0
        self.findings = []
        self.figures = collections.Counter()
        self.remark = ''
        self.places = {}  # where a round was disturbed, for its findings
        self.guard = threading.Lock()
        self.shown = time.monotonic()

    def program(self, path):
        return str(self.build / path)

    def random(self, *what):
        return random.Random('/'.join(map(str, (self.seed, self.name, *what))))

    def count(self, **figures):
        with self.guard:
            self.figures.update(figures)

    def finding(self, name, text):
        with self.guard:
            text += f' ({self.places[name]})' if name in self.places else ''
            self.findings.append((name, text))
            known = len(self.findings)
            if known <= 40:
                print(f'  FOUND in {self.name}, round {name}: {text}\n'
                      f'    repeat: scripts/torture {self.name} --seed {self.seed} --round {shlex.quote(name)}', flush=True)

    def play(self, rounds, names, lanes=2, to_the_end=False):
        """Runs rounds(folder, name) for each of the names, two at a time, until time is up."""
        names = iter([self.only] if self.only else names)
        to_the_end = to_the_end or self.short or self.only

        def lane():
            while to_the_end or time.monotonic() < self.ends:
                with self.guard:
                    name = next(names, None)
                if name is None:
                    return
                self._round(rounds, str(name))

        threads = [threading.Thread(target=lane) for _ in range(lanes)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()

    def _round(self, rounds, name):
        with scratch_folder() as folder:
            try:
                rounds(folder, name)
            except Failure as failure:
                self.finding(name, str(failure))
            except Exception:  # a fault of the campaign's own must not pass for a round without findings
                self.finding(name, traceback.format_exc())
        with self.guard:
            self.rounds += 1
            if time.monotonic() - self.shown > 10:
                self.shown = time.monotonic()
                print(f'  {self.name}: {self.rounds} rounds, {len(self.findings)} findings', flush=True)


@contextlib.contextmanager
def scratch_folder():
    folder = pathlib.Path(tempfile.mkdtemp(prefix='torture-')).resolve()
    try:
        yield folder
    finally:
        for path in folder.rglob('*'):
            if path.is_dir() and not path.is_symlink():
                path.chmod(0o700)
        shutil.rmtree(folder, ignore_errors=True)


def free_port():
    with socket.create_server(('127.0.0.1', 0)) as server:
        return server.getsockname()[1]


@functools.cache
def small_disks():
    """Whether small file systems can be mounted; they are, in a name space of this process's own."""
    library = ctypes.CDLL(None, use_errno=True)
    return (library.unshare(CLONE_NEWNS) == 0 and
            subprocess.run(['mount', '--make-rprivate', '/'], check=False, stderr=subprocess.DEVNULL).returncode == 0)


@contextlib.contextmanager
def small_disk(folder, size):
    subprocess.run(['mount', '-t', 'tmpfs', '-o', f'size={size}', 'torture', str(folder)], check=True)
    try:
        yield
    finally:
        subprocess.run(['umount', '--lazy', str(folder)], check=True)


class Known:
    """What players have said of their disk."""

    def __init__(self):
        self.numbers, self.begun, self.open = set(), set(), set()

    def add(self, other):
        for one in ('numbers', 'begun', 'open'):
            getattr(self, one).update(getattr(other, one))

    def learn(self, text):
        for line in text.split('\n')[:-1]:  # what follows the last line's end is a part of a line
            word, *rest = line.split(' ')
            if word == 'stored':
                for first, _, last in (one.partition('-') for one in rest):
                    self.numbers.update(range(int(first), int(last or first) + 1))
            elif word in ('begun', 'open'):
                getattr(self, word).add(rest[0])


class Player:
    """A running torture-player. Its lines go to files, which outlive it."""

    count = 0

    def __init__(self, part, folder, collector, steps, data='data', prefix=(), **options):
        Player.count += 1
        environment = dict(os.environ)
        environment.update({key: str(value) for key, value in options.pop('environment', {}).items()})
        self.output, self.log = (folder / f'player{Player.count}.{kind}' for kind in ('out', 'log'))
        command = [*prefix, part.program('torture/torture-player'), '--collector', collector, '--data-dir', str(folder / data)]
        for name, value in options.items():
            command += ['--' + name.replace('_', '-'), str(value)]
        script = folder / f'player{Player.count}.in'
        script.write_text('\n'.join(steps) + '\n')
        with open(script) as steps, open(self.output, 'w') as output, open(self.log, 'w') as log:
            self.process = subprocess.Popen(command, stdin=steps, stdout=output, stderr=log, env=environment)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.kill()

    def kill(self):
        """True when it was still alive."""
        alive = self.process.poll() is None
        if alive:
            self.process.kill()
            self.process.wait()
        return alive

    def wait(self, may_be_killed=False):
        """Raises when it hangs or ends in any other way than it should."""
        try:
            status = self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.kill()
            raise Failure(f'the game hangs; {self.last_words()}') from None
        if status != 0 and not (may_be_killed and status == -signal.SIGKILL):
            raise Failure(f'the game ended with {status}; {self.last_words()}')
        return status

    def said(self):
        return self.output.read_text()

    def logged(self):
        return self.log.read_text(errors='replace')

    def last_words(self):
        return ' | '.join(self.logged().splitlines()[-3:])


def life(part, folder, collector, steps, known=None, may_be_killed=False, **options):
    """A whole life of a player; returns it when it has ended as it should."""
    with Player(part, folder, collector, steps, **options) as player:
        try:
            player.wait(may_be_killed)
        finally:
            if known is not None:
                known.learn(player.said())
        return player


class Collector:
    """The real collector, which keeps what it takes in a file."""

    def __init__(self, part, folder):
        self.part, self.archive = part, folder / 'collector.sqlite'
        guarded = ['setpriv', '--pdeathsig', 'KILL'] if shutil.which('setpriv') else []
        self.process = subprocess.Popen(
            guarded + [part.program('collector/zorvane-collector'), '--port', '0', '--quiet', '--game', KEY,
                       '--database', str(self.archive)], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.url = self.process.stdout.readline().split()[-1]
        self.port = int(self.url.rsplit(':', 1)[1])

    def __enter__(self):
        return self

    def __exit__(self, *_):
        with contextlib.suppress(OSError):
            self.part.count(repeats=self.repeats())
        self.process.terminate()
        self.process.wait()
        self.process.stdout.close()

    def rows(self, sql):
        with contextlib.closing(sqlite3.connect(self.archive)) as database:
            return database.execute(sql).fetchall()

    def records(self):
        return [json.loads(text) for (text,) in self.rows('SELECT record FROM event ORDER BY id')]

    def repeats(self):
        """How many events came again."""
        with urllib.request.urlopen(self.url + '/metrics') as answer:
            taken = int(re.search(rb'\nzorvane_events_total (\d+)', answer.read())[1])
        return taken - self.rows('SELECT count(*) FROM events')[0][0]

    def refused(self):
        return self.rows('SELECT reasons, record FROM rejected')


class Exchange:
    """One request that reached the proxy: the records in it, by whom, and whether the answer can have arrived whole."""

    def __init__(self, life, uuids):
        self.life, self.uuids, self.answered = life, uuids, False


class Proxy:
    """Stands before the collector and spoils exchanges. The mood of each is drawn from `moods`:

    well; slow: the answer drips; refuse, before: closed before the request is handed on; taken: handed on, closed
    without an answer; middle: closed in the middle of the answer; after: closed right after it; hang: handed on or not,
    never answered; reset: like taken, with a reset; or a number: that status with an empty body.
    """

    def __init__(self, collector, rng, patience):
        self.upstream, self.rng, self.patience = collector.port, rng, patience
        self.moods = ['well']
        self.lives = 0
        self.exchanges = []
        self.servers = []
        self.guard = threading.Lock()
        self.closing = threading.Event()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.closing.set()
        for server in self.servers:
            with contextlib.suppress(OSError):
                server.shutdown(socket.SHUT_RDWR)
            server.close()

    def url_of_next_life(self):
        """Each life has a port of its own: what a killed game had sent is read when the next one may be running."""
        self.lives += 1
        server = socket.create_server(('127.0.0.1', 0))
        self.servers.append(server)
        threading.Thread(target=self._accept, args=(server, self.lives), daemon=True).start()
        return f'http://127.0.0.1:{server.getsockname()[1]}'

    def _accept(self, server, life):
        with contextlib.suppress(OSError):
            while True:
                client, _ = server.accept()
                threading.Thread(target=self._serve, args=(client, life), daemon=True).start()

    def _serve(self, client, life):
        with client, contextlib.suppress(OSError):
            client.settimeout(PATIENCE)
            while self._exchange(client, life) and not self.closing.is_set():
                pass

    def _exchange(self, client, life):
        """False: the connection is over."""
        with self.guard:
            mood = self.rng.choice(self.moods)
        request = None if mood == 'refuse' else read_message(client)
        if request is None:
            return False
        began = time.monotonic()
        exchange = Exchange(life, uuids_in(request))
        with self.guard:
            self.exchanges.append(exchange)
            handed_on = mood not in ('before', 'hang') or (mood == 'hang' and self.rng.random() < 0.5)
        answer = self._ask(request) if handed_on else b''
        if isinstance(mood, int):
            answer = f'HTTP/1.1 {mood} Mood\r\nContent-Length: 0\r\n\r\n'.encode()
        if mood in ('before', 'taken'):
            return False
        if mood == 'reset':
            client.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, b'\1\0\0\0\0\0\0\0')
            return False
        if mood == 'hang':
            self.closing.wait(self.patience * 3)
            return False
        if mood == 'middle':
            client.sendall(answer[:self.rng.randrange(1, len(answer))])
            return False
        if mood == 'slow':
            for at in range(0, len(answer), 50):
                client.sendall(answer[at:at + 50])
                time.sleep(0.02)
        else:
            client.sendall(answer)
        # A client that has waited long may have given up before.
        exchange.answered = time.monotonic() - began < self.patience / 2
        return mood != 'after'

    def _ask(self, request):
        with socket.create_connection(('127.0.0.1', self.upstream), PATIENCE) as upstream:
            upstream.sendall(request)
            answer = read_message(upstream)
        if answer is None:
            raise OSError('the collector closed')
        return answer

    def wrong_repeats(self, killed):
        """Events that came again although their answer had arrived. `killed`: the lives that ended in a kill, of which
        each may have left its last batch undeleted."""
        last = {exchange.life: exchange for exchange in self.exchanges if exchange.uuids}
        excused = {id(last[life]) for life in killed if life in last}
        settled, wrong = set(), set()
        for exchange in self.exchanges:
            seen = set()
            for uuid in exchange.uuids:
                if uuid in settled or uuid in seen:
                    wrong.add(uuid)
                seen.add(uuid)
            if exchange.answered and id(exchange) not in excused:
                settled |= seen
        return wrong


def read_message(connection):
    """A request or an answer with its body; None when the connection ends before."""
    data = b''
    while b'\r\n\r\n' not in data:
        more = connection.recv(65536)
        if not more:
            return None
        data += more
    head, _, body = data.partition(b'\r\n\r\n')
    fields = dict(line.lower().split(b':', 1) for line in head.split(b'\r\n')[1:] if b':' in line)
    if b'100-continue' in fields.pop(b'expect', b''):
        connection.sendall(b'HTTP/1.1 100 Continue\r\n\r\n')
        head = b'\r\n'.join(line for line in head.split(b'\r\n') if not line.lower().startswith(b'expect:'))
    missing = int(fields.get(b'content-length', b'0')) - len(body)
    parts = [body]
    while missing > 0:
        more = connection.recv(65536)
        if not more:
            return None
        parts.append(more)
        missing -= len(more)
    return head + b'\r\n\r\n' + b''.join(parts)


def uuids_in(request):
    """Of the stored events in a request; reports of the library's own troubles are sent once and not stored."""
    body = request.partition(b'\r\n\r\n')[2]
    try:
        records = json.loads(gzip.decompress(body) if body[:2] == b'\x1f\x8b' else body)
    except (ValueError, OSError, EOFError, zlib.error):
        return []
    if not isinstance(records, list):
        return []
    return [record.get('event_uuid') for record in records if record.get('category') != 'sdk_error']


def number_of(record, tag='t'):
    """The number of an event of a player's; None when it is none."""
    name, _, number = str(record.get('event_id', '')).partition(':')
    return int(number) if name == tag and number.isdigit() else None


def check_events(part, name, collector, known, tag='t'):
    """Every event known stored arrived, as one event."""
    uuids = collections.defaultdict(set)
    for record in collector.records():
        number = number_of(record, tag)
        if number is not None:
            uuids[number].add(record['event_uuid'])
    refused = collector.refused()
    for reasons, count in collections.Counter(reasons for reasons, _ in refused).items():
        part.finding(name, f'the collector refused {count} records: {reasons}')
    for _, record in refused:
        uuids[number_of(json.loads(record), tag)].add('refused')
    missing = sorted(known.numbers - uuids.keys())
    if missing:
        part.finding(name, f'{len(missing)} of {len(known.numbers)} stored events never arrived: {missing[:10]}')
    doubled = sorted(number for number, all_of in uuids.items() if len(all_of) > 1)
    if doubled:
        part.finding(name, f'{len(doubled)} events were made into several: {doubled[:10]}')
    part.count(events=len(known.numbers))


def check_sessions(part, name, collector, known, starts_known=True, longest=24 * 3600):
    """Every session that is known or of which anything arrived has one start and one end, of a sane length."""
    found = collections.defaultdict(lambda: collections.defaultdict(set))
    ends = {}
    for record in collector.records():
        if record.get('session_id'):
            found[record['session_id']][record['category']].add(record['event_uuid'])
            if record['category'] == 'session_end':
                ends[record['event_uuid']] = record['length']
    for session in set(found) | known.begun | known.open:
        begun = session in known.begun or (starts_known and session in found)
        for category, wanted in (('user', begun), ('session_end', True)):
            count = len(found[session][category])
            if count > 1 or (wanted and count == 0):
                part.finding(name, f'session {session} has {count} records of {category}')
    for length in ends.values():
        if not 0 <= length <= longest:
            part.finding(name, f'a session of {length} s')
    part.count(sessions=len(found))


def check_numbers(part, name, collector, category, field):
    """Sessions or purchases are numbered without a gap, and no number is used twice."""
    owners = collections.defaultdict(set)
    for record in collector.records():
        if record.get('category') == category:
            owners[record[field]].add(record['event_uuid'])
    twice = sorted(number for number, uuids in owners.items() if len(uuids) > 1)
    missing = sorted(set(range(1, max(owners, default=0) + 1)) - owners.keys())
    if twice or missing:
        part.finding(name, f'{field}: used more than once: {twice[:10]}, left out: {missing[:10]}')


def check_file(part, name, folder, empty=True):
    """The database is sound and, after a quiet run, holds nothing that waits."""
    try:
        with contextlib.closing(sqlite3.connect(folder / 'zorvane.sqlite')) as database:
            found = [row[0] for row in database.execute('PRAGMA integrity_check')]
            if found != ['ok']:
                part.finding(name, f'the database is damaged: {found[:3]}')
            for table in ('zv_events', 'zv_session'):
                left = database.execute(f'SELECT count(*) FROM {table}').fetchone()[0]
                if empty and left:
                    part.finding(name, f'{left} rows are left in {table} after a quiet run')
    except sqlite3.Error as error:
        part.finding(name, f'the database can not be read: {error}')


def fail_early(condition, text):
    if not condition:
        print(f'torture: {text}', file=sys.stderr)
        sys.exit(2)
