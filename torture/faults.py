"""The game dies, or one of its system calls fails, at every call that it makes on its folder: in its first life, and in
its second, after a death with events waiting. The life after that is an undisturbed one.

A round is LIFE:CALL:HOW:ONCE, "second:212:5:once" for EIO at the second life's 212th call; HOW as in faults.cpp.
"""

import errno
import shutil

from support import (QUIET, Collector, Known, check_events, check_file, check_numbers, check_sessions, life,
                     scratch_folder)

NOWHERE = 'http://127.0.0.1:1'
LIVES = {
    'first': ['start', 'post 3', 'stored', 'buy 1', 'run', 'stored', 'post 2', 'stored', 'background'],
    'second': ['start', 'stored', 'run', 'post 3', 'stored', 'run', 'stored', 'background', 'foreground', 'post 1',
               'stored', 'background'],
}
BEFORE_SECOND = ['start', 'post 4', 'buy 1', 'stored', 'die']
WRITES, READS = {'write', 'pwrite'}, {'read', 'pread'}
GROWS = WRITES | {'open', 'ftruncate', 'mkdir', 'mmap'}
INTERRUPTED = WRITES | READS | {'open', 'fsync', 'fdatasync', 'ftruncate'}
DIES = ('die', 'torn')


def run(part):
    with scratch_folder() as folder:
        known = {'first': Known(), 'second': Known()}
        (folder / 'first').mkdir()
        life(part, folder, NOWHERE, BEFORE_SECOND, known['second'], True, data='second', first=900_000)
        cases = [case for which in LIVES for case in cases_of(part, folder, which)]
        part.random('order').shuffle(cases)
        part.figures['positions'] = len({case.rsplit(':', 2)[0] for case in cases})
        part.play(lambda scratch, name: meet(part, scratch, name, folder, known), cases[:20] if part.short else cases,
                  to_the_end=part.long)
    part.remark = f'{part.rounds:,} of {len(cases):,} cases, drawn by the seed'


def cases_of(part, templates, which):
    cases = []
    with scratch_folder() as folder:
        shutil.copytree(templates / which, folder / 'data')
        with Collector(part, folder) as collector:
            disturbed(part, folder, collector, which, Known())
        calls = [line.split() for line in (folder / 'trace').read_text().splitlines()]
    for number, call, _ in calls:
        kinds = ['die:once']
        kinds += [f'{errno.EIO}:once'] if call != 'unlock' else []
        kinds += [f'{errno.EIO}:stays'] if 'lock' not in call else []
        kinds += ['torn:once'] if call in WRITES else []
        kinds += ['short:once'] if call in WRITES | READS else []
        kinds += [f'{errno.ENOSPC}:once', f'{errno.ENOSPC}:stays'] if call in GROWS else []
        kinds += [f'{errno.EINTR}:once'] if call in INTERRUPTED else []
        cases += [f'{which}:{number}:{kind}' for kind in kinds]
    return cases


def disturbed(part, folder, collector, which, known, at=0, how='', stays=False):
    environment = {'LD_PRELOAD': part.program('torture/faults.so'), 'TORTURE_FOLDER': folder / 'data',
                   'TORTURE_TRACE': folder / 'trace', 'TORTURE_AT': at, 'TORTURE_HOW': how}
    if stays:
        environment['TORTURE_STAYS'] = 1
    life(part, folder, collector.url, LIVES[which], known, how in DIES, environment=environment)


def meet(part, folder, name, templates, before):
    which, at, how, once = name.split(':')
    known = Known()
    known.add(before[which])
    shutil.copytree(templates / which, folder / 'data')
    with Collector(part, folder) as collector:
        try:
            disturbed(part, folder, collector, which, known, int(at), how, once == 'stays')
        finally:
            part.places[name] = call_at(folder, at)
        life(part, folder, collector.url, QUIET, known, first=1000)
        check_events(part, name, collector, known)
        check_sessions(part, name, collector, known, starts_known=how in DIES)
        if how in DIES or part.places[name].split(' ')[0] in READS:
            check_numbers(part, name, collector, 'user', 'session_num')
            check_numbers(part, name, collector, 'business', 'transaction_num')
        check_file(part, name, folder / 'data')
    part.count(deaths=how in DIES, failures=how not in DIES)


def call_at(folder, at):
    for line in (folder / 'trace').read_text().splitlines():
        number, _, call = line.partition(' ')
        if number == at:
            return call
    return 'no call'
