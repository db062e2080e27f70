"""An allocation of the library's fails, or all do from one on, while a game lives as it does when its calls fail.

A round is LIFE:ALLOCATION:once or :stays.
"""

import itertools
import shutil

from faults import BEFORE_SECOND, LIVES, NOWHERE
from support import QUIET, Collector, Known, check_events, check_file, check_sessions, life, scratch_folder


def run(part):
    with scratch_folder() as folder:
        known = {'first': Known(), 'second': Known()}
        (folder / 'first').mkdir()
        life(part, folder, NOWHERE, BEFORE_SECOND, known['second'], True, data='second', first=900_000)
        count = {which: allocations_of(part, folder, which) for which in LIVES}
        part.remark = ', '.join(f'{number:,} allocations in the {which} life' for which, number in count.items())
        rng = part.random('draw')

        def drawn():
            which = rng.choice(list(LIVES))
            return f'{which}:{rng.randint(1, count[which])}:{rng.choice(["once", "once", "stays"])}'

        names = (drawn() for _ in (range(10) if part.short else itertools.count()))
        part.play(lambda scratch, name: meet(part, scratch, name, folder, known), names)


def disturbed(part, folder, collector, which, known, at=0, stays=False):
    environment = {'LD_PRELOAD': part.program('torture/allocations.so'), 'TORTURE_AT': at,
                   'TORTURE_TRACE': folder / 'trace'}
    if stays:
        environment['TORTURE_STAYS'] = 1
    life(part, folder, collector.url, LIVES[which], known, environment=environment, exit_seconds=1)


def allocations_of(part, templates, which):
    with scratch_folder() as folder:
        shutil.copytree(templates / which, folder / 'data')
        with Collector(part, folder) as collector:
            disturbed(part, folder, collector, which, Known())
        return int((folder / 'trace').read_text())


def meet(part, folder, name, templates, before):
    which, at, how = name.split(':')
    known = Known()
    known.add(before[which])
    shutil.copytree(templates / which, folder / 'data')
    with Collector(part, folder) as collector:
        disturbed(part, folder, collector, which, known, int(at), how == 'stays')
        life(part, folder, collector.url, QUIET, known, first=1000)
        check_events(part, name, collector, known)
        check_sessions(part, name, collector, known, starts_known=False)
        check_file(part, name, folder / 'data')
