"""Something hostile lies in place of a file of the game's. The game neither crashes nor hangs, a new event arrives
wherever a file can be written at all, or there is a warning; what can be read of the old events is delivered."""

import contextlib
import itertools
import json
import os
import shutil
import sqlite3

from support import QUIET, Collector, Known, life, number_of, scratch_folder

NOWHERE = 'http://127.0.0.1:1'
BEFORE = ['start', 'post 60', 'buy 3', 'stored', 'die']
NOW = ['start', 'post 3', 'stored', 'run', 'stored', 'run', 'background']
FIRST_NEW, FIRST_LATER = 5000, 6000
USUAL = ('The app version is null', 'The app build is null')  # warnings of every game that says nothing of itself
NO_RIGHTS = ['setpriv', '--bounding-set=-all', '--inh-caps=-all']  # root obeys the modes of files, too


class Scene:
    """A folder with the files that a killed game left; `flat` has all in the database, no log."""

    def __init__(self, folder, templates, rng):
        self.folder, self.templates, self.rng = folder, templates, rng
        self.path = folder / 'zorvane.sqlite'
        self.prefix = []

    def take(self, template):
        shutil.copytree(self.templates / template, self.folder)

    def bytes_of(self, name):
        return bytearray((self.folder / name).read_bytes())

    def put(self, name, content):
        (self.folder / name).write_bytes(content)

    def without(self, name):
        path = self.folder / name
        shutil.rmtree(path) if path.is_dir() and not path.is_symlink() else path.unlink(missing_ok=True)
        return path

    def sql(self, *statements):
        with contextlib.closing(sqlite3.connect(self.path)) as database:
            for statement in statements:
                database.execute(statement)
            database.commit()


def damaged(count):
    def spoil(scene):
        scene.take('flat')
        content = scene.bytes_of('zorvane.sqlite')
        for _ in range(count):
            content[scene.rng.randrange(len(content))] = scene.rng.randrange(256)
        scene.put('zorvane.sqlite', content)
    return spoil


def cut(template, name, to):
    def spoil(scene):
        scene.take(template)
        content = scene.bytes_of(name)
        scene.put(name, content[:to(scene.rng, len(content))])
    return spoil


def replaced(name, content, template='flat'):
    def spoil(scene):
        scene.take(template)
        scene.put(name, content(scene) if callable(content) else content)
    return spoil


def changed(*statements):
    def spoil(scene):
        scene.take('flat')
        scene.sql(*statements)
    return spoil


def foreign(scene):
    scene.take('flat')
    scene.without('zorvane.sqlite')
    scene.sql('CREATE TABLE notes(id INTEGER PRIMARY KEY, text)', "INSERT INTO notes(text) VALUES('not ours')",
              'PRAGMA user_version = 77', 'PRAGMA application_id = 1234567')


def special(name, make):
    """A file of another kind in place of `name`."""
    def spoil(scene):
        scene.take('raw')
        make(scene.without(name), scene)
    return spoil


def in_place_of_the_folder(make):
    return lambda scene: make(scene.folder, scene)


def forbidden(name, mode):
    def spoil(scene):
        scene.take('raw')
        (scene.folder / name).chmod(mode)
        scene.prefix = NO_RIGHTS
    return spoil


KINDS = {
    'a FIFO': lambda path, _: os.mkfifo(path),
    'a directory': lambda path, _: path.mkdir(),
    'a full directory': lambda path, _: (path / 'inside').mkdir(parents=True),
    'a link to /dev/zero': lambda path, _: path.symlink_to('/dev/zero'),
    'a link to /dev/full': lambda path, _: path.symlink_to('/dev/full'),
    'a link to itself': lambda path, _: path.symlink_to(path),
    'a dead link': lambda path, _: path.symlink_to(path.parent / 'no' / 'where'),
}
LIMITS = ('9223372036854775807', '-9223372036854775808', '9223372036854775808', "it''s", '1"; --', '')

# What is done, and whether a new event must arrive although.
TABLE = {
    **{f'{count} random bytes': (damaged(count), True) for count in (1, 3, 10, 100, 1000)},
    'cut at a page': (cut('flat', 'zorvane.sqlite', lambda rng, size: rng.randrange(0, size, 1024)), True),
    'cut anywhere': (cut('flat', 'zorvane.sqlite', lambda rng, size: rng.randrange(size)), True),
    'cut in its first page': (cut('flat', 'zorvane.sqlite', lambda rng, _: rng.randrange(1, 1024)), True),
    'empty': (replaced('zorvane.sqlite', b''), True),
    'zeros': (replaced('zorvane.sqlite', bytes(50_000)), True),
    'text': (replaced('zorvane.sqlite', b'no database at all\n' * 400), True),
    'its first page zeroed': (replaced('zorvane.sqlite', lambda s: bytes(1024) + s.bytes_of('zorvane.sqlite')[1024:]),
                              True),
    "another application's": (foreign, True),
    'events with other columns': (changed('DROP TABLE zv_events', 'CREATE TABLE zv_events(a, b)'), True),
    'state with other columns': (changed('DROP TABLE zv_state', 'CREATE TABLE zv_state(a, b)'), True),
    'a view in place of events': (changed('DROP TABLE zv_events', 'CREATE VIEW zv_events AS SELECT 1 AS status, 2 AS '
                                          'category, 3 AS session_id, 4 AS client_ts, 5 AS event'), True),
    'a view in place of sessions': (changed('DROP TABLE zv_session', 'CREATE VIEW zv_session AS SELECT 1 AS '
                                            'session_id, 2 AS timestamp, 3 AS event'), True),
    'a trigger that refuses events': (changed("CREATE TRIGGER t BEFORE INSERT ON zv_events BEGIN SELECT RAISE(ABORT, "
                                              "'no'); END"), True),
    'a trigger that deletes': (changed('CREATE TRIGGER t AFTER INSERT ON zv_session BEGIN DELETE FROM zv_session; '
                                       'END'), True),
    'no sessions': (changed('DROP TABLE zv_session'), True),
    **{f'{column} is {value or "empty"}': (changed(f"UPDATE {table} SET {column} = '{value}'"), True)
       for table, column in (('zv_events', 'client_ts'), ('zv_events', 'status'), ('zv_session', 'timestamp'),
                             ('zv_state', 'value')) for value in LIMITS},
    'lengths at the limit': (changed("UPDATE zv_session SET timestamp = '-9223372036854775808', event = "
                                     "json_set(event, '$.client_ts', 9223372036854775807)"), True),
    'events that are blobs': (changed("UPDATE zv_events SET event = x'00ff00ff' WHERE rowid % 2"), True),
    'events that are no JSON': (changed("UPDATE zv_events SET event = '{\"a\":' WHERE rowid % 2"), True),
    'events of 500 levels': (changed("INSERT INTO zv_events SELECT status, category, session_id, client_ts, "
                                     "replace(printf('%.500c', '['), '[', '{\"a\":') || '1' || printf('%.500c', '}') "
                                     "FROM zv_events LIMIT 1"), True),
    'snapshots that are no JSON': (changed("UPDATE zv_session SET event = 'x'"), True),
    'a log of zeros': (replaced('zorvane.sqlite-wal', bytes(40_000)), True),
    'a log of text': (replaced('zorvane.sqlite-wal', b'no log at all\n' * 400), True),
    "another database's log": (replaced('zorvane.sqlite-wal', lambda s: (s.templates / 'raw2' / 'zorvane.sqlite-wal')
                                        .read_bytes()), True),
    'a log that was cut': (cut('raw', 'zorvane.sqlite-wal', lambda rng, size: rng.randrange(size)), True),
    'an index of garbage': (replaced('zorvane.sqlite-shm', b'garbage!' * 4096, 'raw'), True),
    'a journal of garbage': (replaced('zorvane.sqlite-journal', b'garbage!' * 100), True),
    'defaults of garbage': (replaced('user_defaults', bytes(range(256)) * 50, 'raw'), True),
    'defaults of 100 MB': (replaced('user_defaults', bytes(100_000_000), 'raw'), True),
    **{f'{kind} in place of {name}': (special(name, make), name == 'user_defaults')
       for kind, make in KINDS.items()
       for name in ('zorvane.sqlite', 'zorvane.sqlite-wal', 'zorvane.sqlite-shm', 'user_defaults')},
    **{f'{kind} in place of the folder': (in_place_of_the_folder(make), 'directory' in kind)
       for kind, make in KINDS.items()},
    'a file in place of the folder': (in_place_of_the_folder(lambda path, _: path.write_text('no folder')), False),
    'a file that may only be read': (forbidden('zorvane.sqlite', 0o400), False),
    'a file that may not be read': (forbidden('zorvane.sqlite', 0o000), False),
    'a log that may only be read': (forbidden('zorvane.sqlite-wal', 0o400), False),
    'a folder that may only be read': (forbidden('.', 0o500), False),
    'defaults that may not be read': (forbidden('user_defaults', 0o000), True),
}


def run(part):
    with scratch_folder() as folder:
        original = Known()
        for template in ('raw', 'raw2'):
            life(part, folder, NOWHERE, BEFORE, original if template == 'raw' else None, True, data=template)
        shutil.copytree(folder / 'raw', folder / 'flat')
        with contextlib.closing(sqlite3.connect(folder / 'flat' / 'zorvane.sqlite')) as database:
            database.execute('PRAGMA wal_checkpoint(TRUNCATE)')
        again = itertools.count() if not part.short else range(1)
        names = [f'{name}/{time}' for time in itertools.islice(again, 1000) for name in TABLE]
        if part.short:
            part.random('short').shuffle(names)
            names = names[:16]
        part.play(lambda scratch, name: meet(part, scratch, name, folder), names)


def records_readable(folder):
    """The numbered events that can be read as they were written; of a copy, for reading changes files, too."""
    found = set()
    with scratch_folder() as copy, contextlib.suppress(sqlite3.Error, UnicodeDecodeError):
        for path in folder.glob('zorvane.sqlite*'):
            shutil.copy(path, copy)
        with contextlib.closing(sqlite3.connect(copy / 'zorvane.sqlite')) as database:
            database.text_factory = bytes
            for (event,) in database.execute('SELECT event FROM zv_events'):
                found.add(event)
    return found


def meet(part, folder, name, templates):
    spoil, must_arrive = TABLE[name.rsplit('/', 1)[0]]
    scene = Scene(folder / 'data', templates, part.random(name))
    spoil(scene)
    regular = scene.path.is_file() and all(path.is_file() for path in scene.folder.glob('zorvane.sqlite*'))
    originals = records_readable(templates / 'flat')
    readable = (records_readable(folder / 'data') & originals) if regular else set()
    old = {number_of(json.loads(event)) for event in readable} - {None}
    with Collector(part, folder) as collector:
        now = life(part, folder, collector.url, NOW, first=FIRST_NEW, prefix=scene.prefix)
        arrived = {number_of(record) for record in collector.records()}
        warned = any('Warning/' in line or 'Error/' in line or 'user defaults' in line
                     for line in now.logged().splitlines() if not any(usual in line for usual in USUAL))
        if not arrived & set(range(FIRST_NEW, FIRST_NEW + 3)):
            if must_arrive:
                part.finding(name, f'no new event arrives, {"with" if warned else "without"} a warning')
            elif not warned:
                part.finding(name, 'no new event arrives, without a warning')
        if scene.prefix:
            allow_all(scene.folder)
        life(part, folder, collector.url, QUIET, first=FIRST_LATER)
        arrived = {number_of(record) for record in collector.records()}
        for _, record in collector.refused():
            with contextlib.suppress(ValueError):
                arrived.add(number_of(json.loads(record)))
        if old - arrived:
            part.finding(name, f'{len(old - arrived)} of {len(old)} events that can be read never arrived')
    part.count(old_events=len(old))


def allow_all(folder):
    folder.chmod(0o700)
    for path in folder.iterdir():
        path.chmod(0o600)
